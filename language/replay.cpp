// Statements that work by replaying kept lines as input: for loops, function
// definitions and calls, and include.
#include "language/actions.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/alloc.h"
#include "core/names.h"
#include "input/diag.h"
#include "input/input.h"
#include "language/state.h"
#include "output/function.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"

TextObject forBody = {nullptr, nullptr, nullptr, nullptr, nullptr};

TextLine *postprocessTake() {
    TextObject *post = sectionFind(istringNew(".POSTPROCESS"));
    if (!post || !post->lines)
        return nullptr;
    // An active post-processing body still open at the end of input collects
    // into the very text that would be replayed: every replayed line would be
    // appended again, without end. Such a body is never closed, so nothing is
    // replayed and the parser reports the unclosed block.
    if (lineMode != 0 && currentSection == post && scopeActive())
        return nullptr;
    TextLine *lines = post->lines;
    post->lines = nullptr;
    return lines;
}

void forCollect(istring text) {
    if (scopeActive())
        textAppend(&forBody, text, 0);
}

void forReplay(istring var, istring listName, int newScope) {
    if (forBody.lines && var) {
        istring values = variableExpand(nullptr, listName, 0);
        if (newScope) {
            textPrepend(&forBody, names.newScopeLine, 0);
            textAppend(&forBody, names.closeBraceLine, 0);
        }
        // Each pass is the assignment of the loop variable followed by the
        // shared body; the passes are queued one after the other.
        size_t varLength = strlen(var);
        const char *cursor = values ? values : "";
        const char *end = nullptr;
        InputRecord *previous = nullptr;
        while (istring word = wordNext(&cursor, &end)) {
            size_t size = varLength + istringLength(word) + 3;
            char *text = static_cast<char *>(xmalloc(size, "for statement"));
            snprintf(text, size, "\t%s=%s", var, word);
            textPrepend(&forBody, istringNew(text), 0);
            free(text);
            if (!previous)
                previous = inputInsert(forBody.lines, inputLine);
            else
                previous = inputInsertAfter(previous, forBody.lines, inputLine);
            textDropFirst(&forBody);
        }
    }
    // The lines now belong to the input records.
    forBody.lines = nullptr;
}

void functionDefine(istring name, int line) {
    TextObject *text = sectionNamed(".FUNCTEXT");
    if (scopeActive())
        FunctionAdd(name, text->lines, line);
    text->lines = nullptr;
    braceDepth = 0;
}

void functionInvoke(istring name) {
    if (!scopeActive())
        return;
    if (FunctionCall(name) < 0)
        fatal("%s: invalid command or function", name);
}

void includeStatement(istring file, int requirement, int newScope) {
    // The clause's block is left again before the file is read, so the file
    // runs in the scope that holds the include statement.
    blockEnter(newScope);
    if (requirement && scopeActive())
        inputInclude(file);
    scopePop();
}
