%{
// The configuration grammar. Every statement takes effect in the action of
// the rule that completes it; the helpers live in the language units and are
// declared in language/actions.h. Rule order is significant: the parser
// trace prints rule numbers and texts as they follow from this file.
#include <cstdint>

#include "core/hashtable.h"
#include "core/istring.h"
#include "core/stack.h"
#include "core/names.h"
#include "input/diag.h"
#include "input/input.h"
#include "language/actions.h"
#include "language/build.h"
#include "language/state.h"
#include "input/tokens.h"
#include "output/text.h"
#include "variables/scope.h"
#include "variables/variable.h"
%}

%token AND 257
%token APPEND 258
%token ASSIGN 259
%token BUILD 260
%token BY 261
%token CALL 262
%token COMMAND_LINE 263
%token CONDASSIGN 264
%token CURRENT 265
%token DUMPVARS 266
%token DYNAMIC 267
%token ECHO 268
%token ELSE 269
%token EMIT 270
%token EOC 271
%token EOL 272
%token EQUAL 273
%token ERROR 274
%token EXISTS 275
%token EXIT 276
%token EXPAND 277
%token EXPORT 278
%token FAKE 279
%token FOR 280
%token FUNCTION 281
%token FREETEXT 282
%token GLOBAL 283
%token IMPORT 284
%token IN 285
%token INCLUDE 286
%token INTERMEDIATE 287
%token IS 288
%token MINUSEQUAL 289
%token NEW 290
%token NOT 291
%token NOTEQUAL 292
%token NOW 293
%token OR 294
%token OUTPUT 295
%token PATTERNCHECK 296
%token POSTPROCESS 297
%token PREPEND 298
%token PRETTY 299
%token SCOPE 300
%token SET 301
%token SOC 302
%token SOL 303
%token STRING 304
%token STRIP 305
%token TAG 306
%token TEMPLATE 307
%token TO 308
%token UNSET 309
%token USES 310
%token WHEN 311
%token WITH 312

%left AND OR

%start configuration

%%

/* Program frame */

configuration
    : { frameBegin(); } statements
    ;

statements
    :
    | statements statement
    ;

statement
    : { StatementStart(); } one_statement { StatementEnd(); }
    ;

/* Statements */

one_statement
    : SOL
    | EOL
    | DUMPVARS EOL
        { statementDump(0); }
    | CURRENT DUMPVARS EOL
        { statementDump(1); }
    | ECHO stringlist requirements EOL
        { statementEcho(valueLines($2), (int)$3.value); }
    | ERROR stringlist requirements EOL
        { statementError(valueLines($2), (int)$3.value); }
    | EXIT EOL
        { statementExit(nullptr); }
    | EXIT STRING EOL
        { statementExit(valueString($2)); }
    | EMIT STRING TO STRING EOL
        { emitBind(valueString($2), valueString($4)); }
    | scoped_statement EOC
        { scopePop(); }
    | for_statements EOC
        { scopePop(); forReplay(valueString($1), (istring)$1.extra1, (int)$1.extra2); }
    | postprocess parg_list SOC freetext EOC
        { braceDepth = 0; }
    | function narg_list STRING SOC freetext EOC
        { functionDefine(valueString($3), (int)$2.value); }
    | template targs scope_requirements templates EOC
        { scopePop(); lineMode = 0; braceDepth = 0; }
    | IMPORT STRING requirements EOL
        { statementImport(valueString($2), (int)$3.value); }
    | INCLUDE STRING requirements scope EOL
        { includeStatement(valueString($2), (int)$3.value, (int)$4.value); }
    | WITH assignments EOL
    | STRING ASSIGN stringlist EOL
        { assignmentDo(nullptr, ASSIGN, valueString($1), stringJoin(valueLines($3))); }
    | STRING CONDASSIGN stringlist EOL
        { assignmentDo(nullptr, CONDASSIGN, valueString($1), stringJoin(valueLines($3))); }
    | STRING APPEND stringlist EOL
        { assignmentDo(nullptr, APPEND, valueString($1), stringJoin(valueLines($3))); }
    | STRING PREPEND stringlist EOL
        { assignmentDo(nullptr, PREPEND, valueString($1), stringJoin(valueLines($3))); }
    | STRING MINUSEQUAL stringlist EOL
        { assignmentDo(nullptr, MINUSEQUAL, valueString($1), stringJoin(valueLines($3))); }
    | SET STRING EOL
        { statementSet(nullptr, valueString($2)); }
    | UNSET STRING EOL
        { statementUnset(valueString($2)); }
    | STRING USES STRING EOL
        { statementUses(nullptr, valueString($1), valueString($3)); }
    | GLOBAL STRING USES STRING EOL
        { statementUses(globalTable, valueString($2), valueString($4)); }
    | GLOBAL STRING ASSIGN stringlist EOL
        { assignmentDo(globalTable, ASSIGN, valueString($2), stringJoin(valueLines($4))); }
    | GLOBAL STRING CONDASSIGN stringlist EOL
        { assignmentDo(globalTable, CONDASSIGN, valueString($2), stringJoin(valueLines($4))); }
    | GLOBAL STRING APPEND stringlist EOL
        { assignmentDo(globalTable, APPEND, valueString($2), stringJoin(valueLines($4))); }
    | GLOBAL STRING PREPEND stringlist EOL
        { assignmentDo(globalTable, PREPEND, valueString($2), stringJoin(valueLines($4))); }
    | GLOBAL STRING MINUSEQUAL stringlist EOL
        { assignmentDo(globalTable, MINUSEQUAL, valueString($2), stringJoin(valueLines($4))); }
    | SET GLOBAL STRING EOL
        { statementSet(globalTable, valueString($3)); }
    | build pattern requirements additions build_template EOL
        {
            buildStatement(reinterpret_cast<BuildRecord *>($2.value), (int)$3.value,
                           (uint32_t)$1.value, reinterpret_cast<HashTable *>($4.value),
                           reinterpret_cast<TemplateRecord *>($5.value));
        }
    | CALL STRING EOL
        { functionInvoke(valueString($2)); }
    ;

/* Build statement parts */

pattern
    : STRING
        { $$.value = valueOf(buildPattern(nullptr, valueString($1))); }
    | STRING STRING
        { $$.value = valueOf(buildPattern(valueString($1), valueString($2))); }
    ;

build_type
    :
        { $$.value = 0; }
    | DYNAMIC build_type
        { $$.value = $2.value | BUILD_DYNAMIC; }
    | FAKE build_type
        { $$.value = $2.value | BUILD_FAKE; }
    | INTERMEDIATE build_type
        { $$.value = $2.value | BUILD_INTERMEDIATE; }
    ;

build
    : build_type BUILD
        { $$.value = $1.value; }
    ;

/* Block openers */

for_statements
    : FOR STRING IN STRING farg_list start_scope freelist
        {
            lineMode = 0;
            commandMode = 0;
            braceDepth = 0;
            if (scopeActive()) {
                $$.value = $2.value;
                $$.extra1 = $4.value;
                $$.extra2 = $6.value;
            } else {
                $$.value = 0;
            }
        }
    ;

postprocess
    : POSTPROCESS
        { blockKind = POSTPROCESS; inputPrefix = nullptr; }
    ;

function
    : FUNCTION
        { blockKind = FUNCTION; inputPrefix = nullptr; }
    ;

template
    : TEMPLATE
        { inputPrefix = nullptr; }
    ;

emit
    : EMIT
        { blockKind = EMIT; inputPrefix = nullptr; }
    ;

emitdebug
    :
        { emitDebug(); }
    ;

scoped_statement
    : start_scope statements
    | emit iarg_list scope_requirements emitdebug freetext
    | req_statement statements
        { chainEnd((int)$1.value); }
    ;

/* With-assignments */

assignments
    : assignment
    | assignments AND assignment
    ;

assignment
    : STRING ASSIGN STRING
        { assignmentDo(nullptr, ASSIGN, valueString($1), valueString($3)); }
    | STRING CONDASSIGN STRING
        { assignmentDo(nullptr, CONDASSIGN, valueString($1), valueString($3)); }
    | STRING APPEND STRING
        { assignmentDo(nullptr, APPEND, valueString($1), valueString($3)); }
    | STRING PREPEND STRING
        { assignmentDo(nullptr, PREPEND, valueString($1), valueString($3)); }
    | STRING MINUSEQUAL STRING
        { assignmentDo(nullptr, MINUSEQUAL, valueString($1), valueString($3)); }
    ;

/* Free text */

freetext
    : _freetext
        { freetextEnd(); }
    ;

_freetext
    :
    | _freetext FREETEXT
        { freetextLine(valueString($2)); }
    ;

/* Conditions and scopes */

req_statement
    : WHEN req start_scope
        { $$.value = chainWhen((int)$2.value); }
    | ELSE WHEN req start_scope
        { $$.value = chainElseWhen((int)$3.value); }
    | ELSE start_scope
        { $$.value = chainElse(); }
    ;

scope_requirements
    : SOC
        { scopePush(); $$.value = 0; }
    | requirement start_scope
        { blockRequire((int)$1.value); $$.value = $2.value; }
    ;

start_scope
    : scope SOC
        { blockEnter((int)$1.value); $$.value = $1.value; }
    ;

scope
    :
        { $$.value = 0; }
    | IN NEW SCOPE
        { $$.value = 1; }
    | IN CURRENT SCOPE
        { $$.value = 0; }
    ;

/* Block arguments */

farg_list
    :
        { lineMode = 1; braceDepth = 1; }
    ;

parg_list
    : pargs
        { bodyArguments((int)$1.value, ".POSTPROCESS"); }
    ;

narg_list
    : pargs
        { bodyArguments((int)$1.value, ".FUNCTEXT"); $$.value = inputLine; }
    ;

pargs
    :
        { $$.value = 0; }
    | parg pargs
        { $$.value = $1.value | $2.value; }
    ;

parg
    : STRIP ASSIGN STRING
        { inputPrefix = valueString($3); $$.value = 0; }
    | EXPAND
        { textFlags |= TEXT_EXPAND; $$.value = 1; }
    ;

iarg_list
    : iargs
        { lineMode = 1 + (int)$1.value; }
    ;

iargs
    :
        { $$.value = 0; }
    | iarg iargs
        { $$.value = $1.value | $2.value; }
    ;

iarg
    : STRIP ASSIGN STRING
        { inputPrefix = valueString($3); $$.value = 0; }
    | STRIP STRING
        { inputPrefix = valueString($2); $$.value = 0; }
    | TAG ASSIGN STRING
        { emitTag(valueString($3)); $$.value = 0; }
    | TAG STRING
        { emitTag(valueString($2)); $$.value = 0; }
    | EXPAND
        { textFlags |= TEXT_EXPAND; $$.value = 1; }
    | NOW
        { emitNow(); $$.value = 0; }
    | PRETTY
        { textFlags |= TEXT_PRETTY; $$.value = 0; }
    ;

targs
    :
    | targ targs
    ;

targ
    : STRIP ASSIGN STRING
        { inputPrefix = valueString($3); }
    ;

/* Requirements */

requirements
    :
        { $$.value = 1; }
    | requirement
    ;

requirement
    : WHEN req
        { $$.value = $2.value; }
    ;

req
    : ureq
    | req OR req
        { $$.value = $1.value || $3.value; }
    | req AND req
        { $$.value = $1.value && $3.value; }
    ;

ureq
    : STRING
        { $$.value = variableDefined(nullptr, valueString($1)) ? 1 : 0; }
    | STRING IS IN STRING
        { $$.value = requireIn(valueString($1), valueString($4)); }
    | STRING IS NOT IN STRING
        { $$.value = !requireIn(valueString($1), valueString($5)); }
    | STRING EQUAL STRING
        { $$.value = $1.value == $3.value; }
    | STRING NOTEQUAL STRING
        { $$.value = $1.value != $3.value; }
    | STRING PATTERNCHECK STRING
        { $$.value = requireMatch(valueString($1), valueString($3)); }
    | EXISTS STRING
        { $$.value = requireExists(valueString($2)); }
    | '(' req ')'
        { $$.value = $2.value; }
    | '!' ureq
        { $$.value = !$2.value; }
    ;

/* Build additions and inline template */

additions
    :
        { $$.value = valueOf(buildAddition(0, nullptr, nullptr, nullptr)); }
    | WITH STRING ASSIGN stringlist additions
        { $$.value = valueOf(buildAddition(ASSIGN, valueString($2), stringJoin(valueLines($4)), valueTable($5))); }
    | WITH STRING APPEND stringlist additions
        { $$.value = valueOf(buildAddition(APPEND, valueString($2), stringJoin(valueLines($4)), valueTable($5))); }
    | WITH STRING PREPEND stringlist additions
        { $$.value = valueOf(buildAddition(PREPEND, valueString($2), stringJoin(valueLines($4)), valueTable($5))); }
    | WITH STRING MINUSEQUAL stringlist additions
        { $$.value = valueOf(buildAddition(MINUSEQUAL, valueString($2), stringJoin(valueLines($4)), valueTable($5))); }
    ;

build_template
    :
        { $$.value = 0; }
    | BY STRING ':' STRING STRING
        { $$.value = valueOf(buildByClause(valueString($2), valueString($4), valueString($5))); }
    ;

/* Templates */

templates
    : one_template
    | one_template templates
    ;

one_template
    : template_decl commands
        { templateCommands(reinterpret_cast<TemplateRecord *>($1.value), valueLines($2)); }
    | EOL
    | SOL EOL
    ;

template_decl
    : SOL STRING ':' STRING EOL
        {
            if (scopeActive())
                $$.value = valueOf(templateDeclare(valueString($2), valueString($4)));
            commandMode = 1;
            lineMode = 1;
        }
    | SOL STRING ':' EOL
        {
            if (scopeActive())
                $$.value = valueOf(templateDeclare(valueString($2), nullptr));
            commandMode = 1;
            lineMode = 1;
        }
    ;

commands
    : COMMAND_LINE
        { $$.value = valueOf(textLineNew(valueString($1), 0, "command")); }
    | COMMAND_LINE commands
        { $$.value = valueOf(commandsPrepend(valueString($1), valueLines($2))); }
    ;

/* Lists */

stringlist
    :
        { $$.value = 0; }
    | stringlist STRING
        { $$.value = valueOf(stringlistAppend(valueLines($1), valueString($2))); }
    ;

freelist
    :
    | freelist FREETEXT
        { forCollect(valueString($2)); }
    ;

%%
