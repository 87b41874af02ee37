// The store of user functions, and the search for the program's directory.
#include "output/function.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "core/alloc.h"
#include "input/input.h"
#include "output/text.h"

FunctionRecord *functionList;

void FunctionAdd(istring name, TextLine *lines, int line) {
    FunctionRecord *record = static_cast<FunctionRecord *>(xmalloc(sizeof(FunctionRecord), "FunctionAdd"));
    record->name = name;
    record->file = inputFile;
    record->lines = lines;
    record->line = line;
    record->next = functionList;
    functionList = record;
}

int FunctionCall(istring name) {
    for (FunctionRecord *record = functionList; record; record = record->next) {
        if (record->name == name) {
            inputInsert(record->lines, record->line);
            return 0;
        }
    }
    return -1;
}

// Host path rules: "/" joins and marks absolute names, ":" separates the
// elements of PATH, and programs carry no suffix.
static const char pathSeparator = '/';
static const char listSeparator = ':';

bool isAbsolutePath(const char *path) { return path[0] == pathSeparator; }

bool isRegularFile(const char *path) {
    struct stat info;
    return stat(path, &info) == 0 && S_ISREG(info.st_mode);
}

char *joinPath(const char *prefix, size_t length, const char *name) {
    size_t nameLength = strlen(name);
    char *result = static_cast<char *>(xmalloc(length + 1 + nameLength + 1, "joinPath"));
    char *p = result;
    if (length != 0) {
        memcpy(p, prefix, length);
        p += length;
        if (prefix[length - 1] != pathSeparator)
            *p++ = pathSeparator;
    }
    memcpy(p, name, nameLength + 1);
    return result;
}

// The current directory in a buffer grown until it fits (no fixed limit on
// the path's length); false when it cannot be had for another reason.
static bool currentDirectory(std::vector<char> &cwd) {
    cwd.resize(256);
    while (!getcwd(cwd.data(), cwd.size())) {
        if (errno != ERANGE)
            return false;
        cwd.resize(cwd.size() * 2);
    }
    return true;
}

// The candidate that the walk along the directory list settles on, or NULL.
static char *programSearch(const char *list, const char *name) {
    std::vector<char> cwd;
    bool haveCwd = false;
    const char *element = list;
    bool finalPass = false;
    for (;;) {
        const char *end = strchr(element, listSeparator);
        size_t length = end ? static_cast<size_t>(end - element) : strlen(element);
        char *candidate = joinPath(element, length, name);
        if (!isAbsolutePath(candidate)) {
            if (!haveCwd) {
                if (!currentDirectory(cwd))
                    return candidate;
                haveCwd = true;
            }
            char *absolute = joinPath(cwd.data(), strlen(cwd.data()), candidate);
            free(candidate);
            candidate = absolute;
        }
        if (isRegularFile(candidate))
            return candidate;
        free(candidate);

        if (end) {
            element = end + 1;
        } else if (!finalPass) {
            // Once the list is used up, the empty element (the current
            // directory) is tried one last time.
            finalPass = true;
            element = "";
        } else {
            return nullptr;
        }
    }
}

char *findProgramDirectory(const char *program) {
    if (!program)
        return nullptr;
    char *result;
    if (isAbsolutePath(program)) {
        result = joinPath(nullptr, 0, program);
    } else {
        const char *list = strchr(program, pathSeparator) ? "" : getenv("PATH");
        if (!list)
            return nullptr;
        result = programSearch(list, program);
        if (!result)
            return nullptr;
    }
    char *cut = strrchr(result, pathSeparator);
    if (cut)
        *cut = '\0';
    return result;
}

namespace host {

int strncasecmp(const char *a, const char *b, size_t n) {
    for (size_t i = 0; i < n; i++) {
        int ca = static_cast<unsigned char>(a[i]);
        int cb = static_cast<unsigned char>(b[i]);
        if (ca >= 'A' && ca <= 'Z')
            ca += 'a' - 'A';
        if (cb >= 'A' && cb <= 'Z')
            cb += 'a' - 'A';
        if (ca != cb)
            return ca - cb;
        if (ca == 0)
            return 0;
    }
    return 0;
}

}  // namespace host
