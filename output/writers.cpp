// The writers that turn sections into make text.
#include "output/writers.h"

#include <cstring>
#include <err.h>
#include <string>

#include "core/names.h"
#include "input/charclass.h"
#include "language/build.h"
#include "output/text.h"
#include "variables/expand.h"

static const char continuation[] = " \\\n\t";

// Fetches the section's stream when the first byte is about to be written;
// false when the section writes nowhere.
static bool writerReady(TextObject *section, FILE *&stream) {
    if (!stream)
        stream = textOutput(section);
    return stream != nullptr;
}

// A writer that wrote flushes its stream. A write that failed (a full disk)
// must not leave a truncated file behind a successful run.
static void writerFlush(TextObject *section, FILE *stream) {
    if (stream && (fflush(stream) != 0 || ferror(stream)))
        err(1, "%s", section->output->name);
}

void textEmit(TextObject *section) {
    FILE *stream = nullptr;
    for (TextLine *line = section->lines; line; line = line->next) {
        if (!writerReady(section, stream))
            return;
        // The expansion replaces the stored text for good.
        if (line->flags & TEXT_EXPAND)
            line->text = expandString(nullptr, line->text);
        if (line->flags & TEXT_PRETTY)
            emitWrapped(stream, line->text);
        else
            fprintf(stream, "%s\n", line->text);
    }
    writerFlush(section, stream);
}

void rulesEmit(TextObject *section) {
    FILE *stream = nullptr;
    for (BuildRecord *build = section->builds; build; build = build->next) {
        if (!writerReady(section, stream))
            return;
        if (build->target == build->source)
            fprintf(stream, "\n%s:\n", build->target);
        else
            fprintf(stream, "\n%s: %s\n", build->target, build->source);
        for (TextLine *command = build->template_->commands; command; command = command->next)
            fprintf(stream, "\t%s\n", expandString(build->scope, command->text));
    }
    writerFlush(section, stream);
}

void objEmit(TextObject *section) {
    FILE *stream = nullptr;
    if (section->builds) {
        if (!writerReady(section, stream))
            return;
        emitVariableList("SRCS", stream, section->builds, nullptr);
    }
    istring objects = variableExpand(globalTable, names.OBJS, 1);
    if (*objects) {
        if (!writerReady(section, stream))
            return;
        fputs("\n", stream);
        std::string text = "OBJS += ";
        text += objects;
        text += '\n';
        emitWrapped(stream, text.c_str());
        fputs("\n", stream);
    }
    writerFlush(section, stream);
}

void emitVariableList(const char *name, FILE *stream, BuildRecord *first, const char *filter) {
    const char *tab = strlen(name) < 5 ? "\t" : "";
    size_t width = 0;
    for (BuildRecord *build = first; build; build = build->next) {
        if (build->flags & (BUILD_DYNAMIC | BUILD_FAKE))
            continue;
        if (filter && build->key != filter)
            continue;
        build->flags |= 1;  // listed: never listed again
        size_t length = istringLength(build->source);
        if (width == 0) {
            width = length;
            fprintf(stream, "%s +=%s%s", name, tab, build->source);
            continue;
        }
        width += length;
        if (width > WRAP_LIMIT) {
            fprintf(stream, "%s%s", continuation, build->source);
            width = length;
        } else {
            fprintf(stream, " %s", build->source);
        }
    }
    if (width != 0)
        fputs("\n\n", stream);
}

static bool isBlankChar(char c) { return c && isClass(c, CC_BLANK); }
static bool isLineEndChar(char c) { return c && isClass(c, CC_LINE_END); }

// True when only blanks and line ends are left.
static bool onlyTrailing(const char *p) {
    while (isBlankChar(*p) || isLineEndChar(*p))
        p++;
    return *p == '\0';
}

void emitWrapped(FILE *stream, const char *text) {
    int column = 0;
    const char *prefix = "";
    const char *position = text;
    for (;;) {
        // A chunk cannot start at a line end that has more text after it (it
        // would never advance): write the line end and count columns afresh.
        if (isLineEndChar(*position) && !onlyTrailing(position)) {
            fprintf(stream, "%s%c", prefix, *position);
            prefix = "";
            position++;
            column = 0;
            continue;
        }
        int start = column;
        if (column != 0)
            column++;
        const char *end = position;
        for (; isBlankChar(*end); end++)
            column = *end == '\t' ? (column + 8) & ~7 : column + 1;
        for (; *end && !isBlankChar(*end) && !isLineEndChar(*end); end++)
            column++;

        if (start <= 8 || column - 8 < WRAP_LIMIT) {
            fprintf(stream, "%s%.*s", prefix, static_cast<int>(end - position), position);
            prefix = "";
            position = end;
            if (onlyTrailing(end)) {
                fputs("\n", stream);
                return;
            }
        } else {
            prefix = continuation;
            column = 8;
        }
    }
}
