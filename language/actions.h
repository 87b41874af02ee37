// The statement actions run by the grammar's reductions, one unit per group
// of statements: frame.cpp (program frame, body arguments, free text),
// conditions.cpp (requirements, blocks, when/else chains), statements.cpp
// (assignments and one-line statements), replay.cpp (for, function, call,
// include), emit.cpp (emit statements) and templates.cpp (template blocks).
#pragma once
#include <cstdint>

#include "core/hashtable.h"
#include "core/istring.h"
#include "input/tokens.h"

struct TextLine;
struct TextObject;
struct TemplateRecord;

// Semantic values: the value word holds an istring, a record pointer, a
// table, a flag set or a truth value.
inline istring valueString(const YYSTYPE &v) { return reinterpret_cast<istring>(v.value); }
inline TextLine *valueLines(const YYSTYPE &v) { return reinterpret_cast<TextLine *>(v.value); }
inline HashTable *valueTable(const YYSTYPE &v) { return reinterpret_cast<HashTable *>(v.value); }
inline intptr_t valueOf(const void *p) { return reinterpret_cast<intptr_t>(p); }

// frame.cpp
// The section of that name, created without an output when it is missing.
TextObject *sectionNamed(const char *name);
// Before the first statement: free text goes to ".EMIT".
void frameBegin();
// After the arguments of a postprocess or function body: free-text lines
// (expanded when expand is set) with counted braces, into the named section.
void bodyArguments(int expand, const char *sectionName);
// One free-text line of an emit, function or postprocess body.
void freetextLine(istring text);
// The closing "}" of a free-text body has been read.
void freetextEnd();

// conditions.cpp
// The next word of a text: runs of characters outside the delimiter class.
// On the first call *end is NULL and becomes the end of the text. Returns
// NULL when no word is left; *cursor is left just after the word.
istring wordNext(const char **cursor, const char **end);
// 1 when word is one of the words of text.
int wordIn(istring text, istring word);
// "A is in LIST": A among the words of the variable LIST.
int requireIn(istring word, istring listName);
int requireMatch(istring text, istring pattern);
int requireExists(istring path);
// Enters a block: a fresh scope for "in new scope", else a nested block.
void blockEnter(int newScope);
// A block with a trailing requirement (emit, template): skipped when it fails.
void blockRequire(int requirement);
// The heads of the when/else chain, called once the block has been entered;
// each returns the chain value (1 when this or an earlier branch ran).
int chainWhen(int requirement);
int chainElseWhen(int requirement);
int chainElse();
// At the "}" of a when/else block: leave it, record the chain state in
// .TRUE/.FALSE and push the level that the "}" itself pops.
void chainEnd(int satisfied);

// statements.cpp
// The assignment family; op is ASSIGN, CONDASSIGN, APPEND, PREPEND or
// MINUSEQUAL. A NULL table is the current scope's. CONDASSIGN asks the given
// table alone when there is one, else the whole scope chain. Does nothing in
// a skipped block.
void assignmentDo(HashTable *table, int op, istring name, istring value);
void statementSet(HashTable *table, istring name);
void statementUnset(istring name);
void statementUses(HashTable *table, istring name, istring separator);
// Appends a word to a stringlist (NULL in a skipped block).
TextLine *stringlistAppend(TextLine *list, istring word);
void statementEcho(const TextLine *words, int requirement);
void statementError(const TextLine *words, int requirement);
// code NULL: status 0; else strtol(code, NULL, 0).
void statementExit(istring code);
void statementImport(istring name, int requirement);
// current 0: the whole scope chain and the global table; 1: the merged view.
void statementDump(int current);

// replay.cpp
// Collects the body of the for statement being read.
extern TextObject forBody;
void forCollect(istring text);
// The post-processing lines to read once all other input has ended, taken
// from ".POSTPROCESS" (the input stack's pending-lines hook).
TextLine *postprocessTake();
// After the "}" of a for statement: replays the body once per word of the
// variable listName. var is NULL when the block was skipped.
void forReplay(istring var, istring listName, int newScope);
// At the "}" of a function definition.
void functionDefine(istring name, int line);
void functionInvoke(istring name);
void includeStatement(istring file, int requirement, int newScope);

// emit.cpp
void emitBind(istring section, istring file);
void emitTag(istring section);
void emitNow();
// The "#EMIT file:line" comment line under debug letter 'e'.
void emitDebug();

// templates.cpp
// A template's command lines: built back to front, ending in source order.
TextLine *commandsPrepend(istring text, TextLine *rest);
// After a template's command lines: attach them and leave command mode.
void templateCommands(TemplateRecord *declared, TextLine *commands);
