// Reference expansion: $(name[subscript]:modifier), escapes, the variable
// list, globbing and the special built-in names.
#pragma once
#include <string>

#include "core/hashtable.h"

struct StackFrame;

istring expandString(HashTable *table, istring text);
// The expansion core without the builder bracket; discards the current
// builder buffer's content.
istring expandText(HashTable *table, istring text);
istring variableExpand(HashTable *table, istring name, int only);
istring variableSubstitue(istring value, const char *subscript, const char *modifier);
istring variableList(const char *modifier);
istring globExpand(const char *pattern);

// Reads the name of a reference, just after its "$(": the characters up to
// the matching ")", which is consumed but not kept; inner parentheses are
// kept. False when the stack ends first.
bool expandReadName(StackFrame **top, std::string &name);
