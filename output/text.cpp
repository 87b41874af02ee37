// Line records, named sections and the output files they are bound to.
#include "output/text.h"

#include <cerrno>
#include <cstring>
#include <err.h>

#include "core/alloc.h"
#include "core/names.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "output/writers.h"
#include "variables/expand.h"

HashTable *sectionTable;
HashTable *outputTable;

void textInit() {
    sectionTable = ht_new();
    outputTable = ht_new();
}

TextLine *textLineNew(istring text, unsigned flags, const char *label) {
    TextLine *line = static_cast<TextLine *>(xmalloc(sizeof(TextLine), label));
    line->next = nullptr;
    line->link = line;
    line->text = text;
    line->flags = flags;
    line->file = inputFile;
    line->line = inputLine;
    return line;
}

TextObject *textCreate(istring name, istring outputName, FILE *stream) {
    OutputFile *output = nullptr;
    if (outputName) {
        output = static_cast<OutputFile *>(ht_lookup(outputTable, outputName));
        if (!output) {
            output = static_cast<OutputFile *>(xmalloc(sizeof(OutputFile), "textCreate"));
            output->name = outputName;
            output->stream = stream;
            ht_insert(outputTable, outputName, output, 0);
        }
    }

    TextObject *section = static_cast<TextObject *>(ht_lookup(sectionTable, name));
    if (!section) {
        section = static_cast<TextObject *>(xmalloc(sizeof(TextObject), "textCreate"));
        section->output = output;
        section->name = name;
        section->lines = nullptr;
        section->builds = nullptr;
        section->writer = textEmit;
        ht_insert(sectionTable, name, section, 0);
    } else if (output) {
        section->output = output;
    }
    return section;
}

void textAppend(TextObject *section, istring text, unsigned flags) {
    TextLine *line = textLineNew(text, flags, "textAppend");
    TextLine *first = section->lines;
    if (!first) {
        section->lines = line;
        return;
    }
    TextLine *last = first->link;
    last->next = line;
    line->link = last;
    first->link = line;
}

void textPrepend(TextObject *section, istring text, unsigned flags) {
    TextLine *line = textLineNew(text, flags, "textPrepend");
    TextLine *first = section->lines;
    if (first) {
        line->next = first;
        line->link = first->link;
        first->link = line;
    }
    section->lines = line;
}

void textDropFirst(TextObject *section) {
    TextLine *first = section->lines;
    if (!first)
        return;
    TextLine *second = first->next;
    if (second)
        second->link = first->link;
    section->lines = second;
}

TextObject *sectionFind(istring name) {
    return static_cast<TextObject *>(ht_lookup(sectionTable, name));
}

FILE *textOutput(TextObject *section) {
    OutputFile *output = section->output;
    if (!output)
        return nullptr;
    if (output->stream)
        return output->stream;
    if (!output->name)
        return nullptr;
    FILE *stream = fopen(output->name, "w");
    if (!stream)
        fatal("%s: %s", output->name, strerror(errno));
    output->stream = stream;
    return stream;
}

void textCloseAll() {
    HashCursor *cursor = ht_start(outputTable);
    void *value;
    while (ht_next(cursor, &value)) {
        OutputFile *output = static_cast<OutputFile *>(value);
        FILE *stream = output->stream;
        if (!stream)
            continue;
        output->stream = nullptr;
        bool failed = stream == stdout ? fflush(stream) != 0 || ferror(stream)
                                       : ferror(stream) | (fclose(stream) != 0);
        if (failed)
            err(1, "%s", output->name);
    }
    ht_end(cursor);
}

void textCheckStdout() {
    if (fflush(stdout) != 0 || ferror(stdout))
        err(1, "<STDOUT>");
}

void sectionsEmit() {
    istring list = variableExpand(nullptr, names.EMIT, 0);
    const char *p = list;
    for (;;) {
        while (*p && isClass(*p, CC_DELIMITER))
            p++;
        if (!*p)
            break;
        const char *start = p;
        while (*p && !isClass(*p, CC_DELIMITER))
            p++;
        istring word = istringNewN(start, static_cast<unsigned>(p - start));
        TextObject *section = sectionFind(word);
        if (!section || !section->writer) {
            warnx("%s: section not found", word);
            continue;
        }
        section->writer(section);
    }
}
