// Reference expansion: escapes, $(name[subscript]:modifier) with nested
// names, the special built-in names, the variable list and globbing.
#include "variables/expand.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <err.h>
#include <glob.h>
#include <string>
#include <string_view>

#include "core/stack.h"
#include "core/names.h"
#include "core/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "variables/pattern.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

bool isDelimiter(int c) { return isClass(c, CC_DELIMITER); }

// The value a reference reads from a record it found: none when the record
// is deleted or has no value.
istring variableLiveValue(Variable *record) {
    return record->flags & VAR_DELETED ? nullptr : variableRecordValue(record);
}

istring internView(std::string_view text) { return istringNewN(text.data(), static_cast<unsigned>(text.size())); }

// Makes room for `extra` more bytes at `position` in the builder's buffer,
// at least doubling it so that a long text costs linear time.
void expandReserve(int position, int extra) {
    int64_t wanted = static_cast<int64_t>(position) + extra;
    if (wanted <= builder.capacity)
        return;
    if (wanted < 2 * static_cast<int64_t>(builder.capacity))
        wanted = 2 * static_cast<int64_t>(builder.capacity);
    // A self-referencing value grows the text without end; stop the way a
    // failed allocation does rather than overflow the size.
    if (wanted > INT32_MAX - 256) {
        errno = ENOMEM;
        err(1, nullptr);
    }
    need(static_cast<int>(wanted), 1);
}

void expandPut(int &position, char c) {
    expandReserve(position, 1);
    builder.buffer[position++] = c;
}

// The words of a text: maximal runs of non-delimiter characters.
struct WordCursor {
    const char *at;
    bool next(std::string_view &word) {
        while (*at && isDelimiter(*at))
            at++;
        if (!*at)
            return false;
        const char *start = at;
        while (*at && !isDelimiter(*at))
            at++;
        word = std::string_view(start, static_cast<size_t>(at - start));
        return true;
    }
};

// True when the subscript reads as a whole non-negative number (base 0).
bool subscriptNumber(const char *subscript, long *number) {
    char *end;
    long n = strtol(subscript, &end, 0);
    if (end == subscript || *end != '\0' || n < 0)
        return false;
    *number = n;
    return true;
}

// The value after "key=" where key starts the text or follows a delimiter;
// NULL when the key is absent.
const char *subscriptKey(const char *text, const char *key, size_t *length) {
    size_t keyLength = std::strlen(key);
    for (const char *from = text;; from++) {
        const char *hit = std::strstr(from, key);
        if (!hit || *hit == '\0')
            return nullptr;
        if ((hit == text || isDelimiter(hit[-1])) && hit[keyLength] == '=') {
            const char *start = hit + keyLength + 1;
            const char *end = start;
            while (*end && !isDelimiter(*end))
                end++;
            *length = static_cast<size_t>(end - start);
            return start;
        }
        from = hit;
    }
}

struct Substitution {
    std::string pattern;
    std::string replacement;  // with every '&' already replaced by the pattern
    bool global = false;
    bool anchorStart = false;
    bool anchorEnd = false;
};

// Parses ":S<d>pattern<d>replacement<d>[g]"; false when malformed.
bool substitutionParse(const char *modifier, Substitution &s) {
    if (modifier[0] == '\0' || modifier[1] != 'S' || modifier[2] == '\0')
        return false;
    char delimiter = modifier[2];
    const char *pattern = modifier + 3;
    const char *patternEnd = std::strchr(pattern, delimiter);
    if (!patternEnd)
        return false;
    const char *replacement = patternEnd + 1;
    const char *replacementEnd = std::strchr(replacement, delimiter);
    if (!replacementEnd)
        return false;
    const char *flags = replacementEnd + 1;
    if (flags[0] != '\0' && !(flags[0] == 'g' && flags[1] == '\0'))
        return false;
    s.global = flags[0] == 'g';
    std::string_view p(pattern, static_cast<size_t>(patternEnd - pattern));
    if (!p.empty() && p.front() == '^') {
        s.anchorStart = true;
        p.remove_prefix(1);
    }
    if (!p.empty() && p.back() == '$') {
        s.anchorEnd = true;
        p.remove_suffix(1);
    }
    s.pattern = p;
    for (const char *r = replacement; r < replacementEnd; r++) {
        if (*r == '&')
            s.replacement += s.pattern;
        else
            s.replacement += *r;
    }
    return true;
}

void substitutionWord(const Substitution &s, std::string_view word, std::string &out) {
    std::string_view p = s.pattern;
    bool starts = word.substr(0, p.size()) == p;
    bool ends = word.size() >= p.size() && word.substr(word.size() - p.size()) == p;
    if (s.anchorStart && s.anchorEnd) {
        out += starts && ends ? std::string_view(s.replacement) : word;
    } else if (s.anchorStart) {
        if (starts) {
            out += s.replacement;
            out += word.substr(p.size());
        } else {
            out += word;
        }
    } else if (s.anchorEnd) {
        if (ends) {
            out += word.substr(0, word.size() - p.size());
            out += s.replacement;
        } else {
            out += word;
        }
    } else {
        size_t position = 0;
        for (;;) {
            size_t hit = word.find(p, position);
            if (hit == std::string_view::npos)
                break;
            out += word.substr(position, hit - position);
            out += s.replacement;
            position = hit + p.size();
            // An empty pattern inserts once per word, even with g.
            if (!s.global || p.empty())
                break;
        }
        out += word.substr(position);
    }
}

istring substitutionApply(const Substitution &s, const char *text) {
    std::string out;
    WordCursor words{text};
    std::string_view word;
    bool first = true;
    while (words.next(word)) {
        if (!first)
            out += ' ';
        first = false;
        substitutionWord(s, word, out);
    }
    return internView(out);
}

istring modifierApply(istring text, const char *modifier) {
    if (!modifier)
        return text;
    if (std::strcmp(modifier, ":basename") == 0) {
        const char *slash = std::strrchr(text, '/');
        return slash ? istringNew(slash + 1) : text;
    }
    if (std::strcmp(modifier, ":dirname") == 0) {
        const char *slash = std::strrchr(text, '/');
        return slash ? istringNewN(text, static_cast<unsigned>(slash - text)) : text;
    }
    if (std::strcmp(modifier, ":quote") == 0) {
        std::string quoted = "\"";
        quoted += text;
        quoted += '"';
        return internView(quoted);
    }
    Substitution s;
    if (!substitutionParse(modifier, s))
        fatal("Invalid substitution operation: %s", modifier);
    return substitutionApply(s, text);
}

}  // namespace

bool expandReadName(StackFrame **top, std::string &name) {
    int depth = 0;
    for (;;) {
        int c = *top ? stackPop(top) : -1;
        if (c == -1)
            return false;
        if (isClass(c, CC_OPEN_PAREN)) {
            depth++;
        } else if (isClass(c, CC_CLOSE_PAREN)) {
            if (depth == 0)
                return true;
            depth--;
        }
        name += static_cast<char>(c);
    }
}

istring expandText(HashTable *table, istring text) {
    int length = static_cast<int>(istringLength(text));
    if (!std::strpbrk(text, "$\\\xff"))
        return text;
    need(length, 0);
    StackFrame *stack = stackPush(nullptr, text, length);
    int position = 0;
    int c = stackPop(&stack);
    while (c != -1) {
        int next = stackPop(&stack);
        if (isClass(c, CC_ESCAPE)) {
            if (next != -1) {
                expandPut(position, static_cast<char>(escapeMap[static_cast<unsigned char>(next)]));
                next = stackPop(&stack);
            }
        } else if (isClass(c, CC_DOLLAR) && next != -1 && isClass(next, CC_OPEN_PAREN)) {
            std::string reference;
            if (!expandReadName(&stack, reference))
                fatal("%s: unterminated variable", text);
            istring name = expandString(table, internView(reference));
            istring value = variableExpand(table, name, 0);
            int valueLength = static_cast<int>(istringLength(value));
            expandReserve(position, 1 + valueLength);
            stack = stackPush(stack, value, valueLength);
            next = stackPop(&stack);
        } else {
            expandPut(position, static_cast<char>(c));
        }
        c = next;
    }
    stackFree(stack);
    return istringNewN(builder.buffer ? builder.buffer : "", static_cast<unsigned>(position));
}

istring expandString(HashTable *table, istring text) {
    stringPush();
    istring result = expandText(table, text);
    stringPop();
    return result;
}

istring variableExpand(HashTable *table, istring name, int only) {
    std::string_view text = expandString(table, name);
    const char *modifier = nullptr;
    std::string modifierText;
    size_t colon = text.find(':');
    if (colon != std::string_view::npos) {
        modifierText = text.substr(colon);
        modifier = modifierText.c_str();
        text = text.substr(0, colon);
    }
    const char *subscript = nullptr;
    std::string subscriptText;
    size_t bracket = text.find('[');
    if (bracket != std::string_view::npos) {
        if (text.back() != ']')
            fatal("%s: improperly formed variable", internView(text));
        subscriptText = text.substr(bracket + 1, text.size() - bracket - 2);
        subscript = subscriptText.c_str();
        text = text.substr(0, bracket);
    }
    istring base = internView(text);

    if (base == names.DEBUGFLAGS) {
        if (modifier)
            fatal("%s cannot be modified", names.DEBUGFLAGS);
        if (!subscript)
            fatal("%s must be subscripted", names.DEBUGFLAGS);
        if (subscriptText.size() != 1)
            fatal("%s must have a single character subscript", names.DEBUGFLAGS);
        return debugOn(static_cast<unsigned char>(subscript[0])) ? names.True : names.empty;
    }
    if (base == names.FILE_) {
        if (subscript)
            fatal("%s cannot be subscripted", names.FILE_);
        return variableSubstitue(inputFile ? inputFile : names.empty, modifier, nullptr);
    }
    if (base == names.LINE || base == names.CURRENT_SCOPE) {
        if (subscript)
            fatal("%s cannot be subscripted", base);
        if (modifier)
            fatal("%s cannot be modified", base);
        char number[64];
        if (base == names.LINE)
            snprintf(number, sizeof number, "%d", inputLine);
        else
            snprintf(number, sizeof number, "0x%08lx:%d", reinterpret_cast<unsigned long>(currentScope),
                     currentScope ? static_cast<int>(currentScope->depth) : 0);
        return istringNew(number);
    }
    if (base == names.SEPARATOR)
        return istringNewN(&nameSeparator, 1);
    if (base == names.DELIMITER)
        return delimiterValue ? delimiterValue : names.empty;
    if (base == names.star)
        return variableList(modifier);
    if (base == names.empty) {
        if (!modifier)
            return names.empty;
        if (std::strncmp(modifier, ":glob", 5) == 0 && isClass(modifier[5], CC_BLANK))
            return globExpand(modifier + 6);
        fatal(":glob required when variable name is empty");
    }

    if (table) {
        if (Variable *record = variableTableFind(table, base)) {
            istring value = variableLiveValue(record);
            return value ? variableSubstitue(value, subscript, modifier) : names.empty;
        }
    }
    if (!table || !only) {
        for (Scope *scope = currentScope; scope; scope = scope->parent) {
            if (Variable *record = static_cast<Variable *>(ht_lookup(scope->table, base))) {
                istring value = variableLiveValue(record);
                return value ? variableSubstitue(value, subscript, modifier) : names.empty;
            }
        }
        if (Variable *record = globalTable ? static_cast<Variable *>(ht_lookup(globalTable, base)) : nullptr) {
            istring value = variableLiveValue(record);
            // Roles exchanged on purpose for global variables.
            return value ? variableSubstitue(value, modifier, subscript) : names.empty;
        }
    }
    Variable wanted;
    variableNameSplit(&wanted, base);
    if (wanted.count == 0)
        return names.empty;
    istring best = variableBestMatch(table, &wanted, only);
    variableNameFree(&wanted);
    if (!best)
        return names.empty;
    // Roles exchanged on purpose for compound best matches.
    return variableSubstitue(best, modifier, subscript);
}

istring variableSubstitue(istring value, const char *subscript, const char *modifier) {
    if (!value)
        value = names.empty;
    if (!subscript)
        return modifierApply(value, modifier);
    long n;
    if (subscriptNumber(subscript, &n)) {
        // A word selected by number is returned as it is: no modifier.
        WordCursor words{value};
        std::string_view word;
        while (words.next(word)) {
            if (n == 0)
                return internView(word);
            n--;
        }
        return names.empty;
    }
    size_t length;
    const char *selected = subscriptKey(value, subscript, &length);
    if (!selected)
        return names.empty;
    return modifierApply(istringNewN(selected, static_cast<unsigned>(length)), modifier);
}

istring variableList(const char *modifier) {
    istring pattern = nullptr;
    if (modifier) {
        if (modifier[0] == '\0' || modifier[1] != '~')
            fatal("Only :~ is allowed on the variable *");
        pattern = istringNew(modifier + 2);
    }
    HashTable *listed = ht_new();
    auto collect = [listed, pattern](HashTable *table) {
        HashCursor *cursor = ht_start(table);
        if (!cursor)
            return;
        void *value;
        while (istring key = ht_next(cursor, &value)) {
            if (pattern && !patternMatch(key, pattern))
                continue;
            ht_insert(listed, key, value, 0);
        }
        ht_end(cursor);
    };
    for (Scope *scope = currentScope; scope; scope = scope->parent)
        collect(scope->table);
    if (globalTable)
        collect(globalTable);
    std::string text;
    HashCursor *cursor = ht_start(listed);
    if (!cursor)
        return names.empty;
    void *value;
    bool first = true;
    while (istring key = ht_next(cursor, &value)) {
        if (!first)
            text += ' ';
        first = false;
        text += key;
    }
    ht_end(cursor);
    return internView(text);
}

istring globExpand(const char *pattern) {
    glob_t found;
    std::memset(&found, 0, sizeof found);
    int result = glob(pattern, GLOB_MARK, nullptr, &found);
    if (result == -1)
        fatal("expanding %s: %s", pattern, strerror(errno));
    if (result != 0 || found.gl_pathc == 0) {
        globfree(&found);
        return names.empty;
    }
    std::string text;
    for (size_t i = 0; i < found.gl_pathc; i++) {
        if (i)
            text += ' ';
        text += found.gl_pathv[i];
    }
    globfree(&found);
    return internView(text);
}
