// Reference expansion: $(name[subscript]:modifier), escapes, the variable
// list, globbing and the special built-in names.
#pragma once
#include "core/hashtable.h"

istring expandString(HashTable *table, istring text);
// The expansion core without the builder bracket; discards the current
// builder buffer's content.
istring expandText(HashTable *table, istring text);
istring variableExpand(HashTable *table, istring name, int only);
istring variableSubstitue(istring value, const char *subscript, const char *modifier);
istring variableList(const char *modifier);
istring globExpand(const char *pattern);
