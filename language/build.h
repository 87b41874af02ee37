// Templates and build statements.
#pragma once
#include <cstdint>
#include "core/istring.h"
#include "core/hashtable.h"

struct TextLine;

struct TemplateRecord {
    istring targetPattern;
    istring sourcePattern;  // NULL when the declaration has none
    const char *stem;       // stem of the latest match (see templateFind)
    istring suffix;         // pattern text after the "%" of the latest match, or NULL
    TextLine *commands;
    TemplateRecord *next;
};

enum : uint32_t { BUILD_DYNAMIC = 1, BUILD_INTERMEDIATE = 2, BUILD_FAKE = 4 };

struct BuildRecord {
    BuildRecord *next;
    istring source;
    istring target;
    istring selector;
    istring key;
    uint32_t flags;
    TemplateRecord *template_;
    HashTable *scope;
};

extern TemplateRecord *templateList;
extern BuildRecord *buildList;
extern BuildRecord *buildTail;

TemplateRecord *templateFind(istring source, istring selector, TemplateRecord *list);
istring targetExpand(const char *pattern, const char *stem);

// Statement pieces called by the grammar's actions.
// Rules 41/42: a new build record (also in a skipped block).
BuildRecord *buildPattern(istring selector, istring source);
// Rules 111-115: op is 0 for "no clause" (rule 111), else ASSIGN, APPEND,
// PREPEND or MINUSEQUAL. Returns the build's table, or NULL in a skipped block.
HashTable *buildAddition(int op, istring name, istring value, HashTable *rest);
// Rule 117: the one-off template of a "by" clause, or NULL in a skipped block.
TemplateRecord *buildByClause(istring targetPattern, istring sourcePattern, istring command);
// Rule 39, at the EOL: the whole effect of a build statement.
void buildStatement(BuildRecord *record, int requirement, uint32_t flags, HashTable *table, TemplateRecord *by);
// Rules 123/124 when the block is active: a new template at the front of templateList.
TemplateRecord *templateDeclare(istring targetPattern, istring sourcePattern);
