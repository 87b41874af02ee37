// The program's entry: start-up in its fixed order, the command line, the
// host and environment variables, the configuration search path, the single
// parse and the writing of every section.
#include "driver/driver.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <err.h>
#include <getopt.h>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

#include "core/istring.h"
#include "core/names.h"
#include "core/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "input/lexer.h"
#include "language/actions.h"
#include "language/build.h"
#include "input/tokens.h"
#include "output/function.h"
#include "output/text.h"
#include "output/writers.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

const char programName[] = "brisk";
const char usageText[] = "brisk: [-Ipath ...] [-Dvar[=value] ...] [-o output] [file]\n";
// The leading "+" keeps the parse to the POSIX rule: options end at the
// first operand.
const char optionString[] = "+d:I:D:M:o:s:";

[[noreturn]] void driverUsage() {
    fputs(usageText, stderr);
    exit(1);
}

// Copy of an environment or host text with every backslash made a slash.
std::string driverSlashes(const char *text) {
    std::string copy(text);
    for (char &c : copy)
        if (c == '\\')
            c = '/';
    return copy;
}

void driverSet(const char *name, const char *value) {
    variableSet(globalTable, istringNew(name), value ? istringNew(value) : nullptr);
}

// .ARGC and .ARGV: the raw command line, before any option is interpreted.
void driverArguments(int argc, char **argv) {
    char count[32];
    snprintf(count, sizeof count, "%d", argc);
    variableSet(globalTable, names.ARGC, istringNew(count));
    for (int i = 0; i < argc; i++)
        variableAppend(globalTable, names.ARGV, istringNew(argv[i]), names.blank);
}

// The uname fields, the program directory, time, directory, host and user.
void driverHostValues(int argc, char **argv) {
    struct utsname host;
    if (uname(&host) >= 0) {
        driverSet(".SYSNAME", host.sysname);
        driverSet(".NODENAME", host.nodename);
        driverSet(".SYSRELEASE", host.release);
        driverSet(".SYSVERSION", host.version);
        driverSet(".MACHINE", host.machine);
    }

    if (argc > 0) {
        if (char *directory = findProgramDirectory(argv[0])) {
            variableSet(globalTable, names.BRISK_DIR, istringNew(driverSlashes(directory).c_str()));
            free(directory);
        }
    }

    time_t now = time(nullptr);
    const char *stamp = ctime(&now);
    std::string started = stamp ? stamp : "";
    size_t newline = started.find('\n');
    if (newline != std::string::npos)
        started.erase(newline);
    variableSet(globalTable, names.TIME, istringNew(started.c_str()));

    if (char *cwd = getcwd(nullptr, 0)) {
        variableSet(globalTable, names.PWD, istringNew(cwd));
        free(cwd);
    } else {
        variableSet(globalTable, names.PWD, istringNew("."));
    }

    char hostName[256];
    if (gethostname(hostName, 255) != 0)
        snprintf(hostName, sizeof hostName, "%s", "Halcyon-build-host");
    hostName[255] = '\0';
    variableSet(globalTable, names.HOSTNAME, istringNew(hostName));

    const char *user = getlogin();
    variableSet(globalTable, names.USER, istringNew(user ? user : ""));
}

// TERN_HOME, TERN_TOOLS and TERN_BASE from the environment, with slashes.
void driverToolchainValues() {
    const istring tern[] = {names.TERN_HOME, names.TERN_TOOLS, names.TERN_BASE};
    for (istring name : tern) {
        if (const char *value = getenv(name))
            variableSet(globalTable, name, istringNew(driverSlashes(value).c_str()));
    }
}

struct DriverOptions {
    const char *outputName = "Makefile";
    bool includeSeen = false;
};

void driverDefine(const char *argument) {
    const char *equals = strchr(argument, '=');
    if (!equals) {
        variableSet(globalTable, istringNew(argument), nullptr);
        return;
    }
    std::string name(argument, equals - argument);
    variableSet(globalTable, istringNew(name.c_str()), istringNew(equals + 1));
}

void driverDependFile(const char *path) {
    if (dependStream)
        errx(1, "Only one -M option allowed");
    dependStream = fopen(path, "w");
    if (!dependStream)
        err(1, "%s", path);
    dependName = path;
}

void driverSeparator(DriverOptions &options, const char *argument, istring includeName) {
    if (options.includeSeen)
        errx(1, "-s must be specified before -I");
    if (strlen(argument) != 1)
        errx(1, "%s: invalid separator", argument);
    variableUses(globalTable, names.BRISK_PATH, argument);
    variableUses(globalTable, includeName, argument);
}

// Acts on every option in the order given; returns the index of the first
// operand.
int driverOptions(int argc, char **argv, DriverOptions &options, istring includeName) {
    // The option parser names the program by the first argument: hand it a
    // copy whose first entry is the fixed program name.
    std::vector<char *> args(argv, argv + argc);
    args.push_back(nullptr);
    if (argc > 0)
        args[0] = const_cast<char *>(programName);
    opterr = 1;
    optind = 1;
    int option;
    while ((option = getopt(argc, args.data(), optionString)) != -1) {
        switch (option) {
        case 'd':
            for (const char *p = optarg; *p; p++)
                debugSet(static_cast<unsigned char>(*p));
            break;
        case 'I':
            options.includeSeen = true;
            variableAppend(globalTable, includeName, istringNew(optarg), nullptr);
            break;
        case 'D':
            driverDefine(optarg);
            break;
        case 'M':
            driverDependFile(optarg);
            break;
        case 'o':
            if (strcmp(optarg, "-") == 0) {
                defaultOutputStream = stdout;
                options.outputName = "<STDOUT>";
            } else {
                options.outputName = optarg;
            }
            break;
        case 's':
            driverSeparator(options, optarg, includeName);
            break;
        default:
            driverUsage();
        }
    }
    return optind;
}

// BRISK_PATH after the options: a -D value wins, then the environment, then
// TERN_BASE/conf, then the root-relative default. A non-empty "-I" puts the
// element "-I" itself (the variable's name) in front.
void driverSearchPath(istring includeName) {
    istring path = variableExpand(globalTable, names.BRISK_PATH, 0);
    if (!path || !*path) {
        if (const char *environment = getenv("BRISK_PATH")) {
            variableAppend(globalTable, names.BRISK_PATH,
                           istringNew(driverSlashes(environment).c_str()), nullptr);
        } else {
            istring base = variableExpand(globalTable, names.TERN_BASE, 0);
            if (base && *base) {
                variableAppend(globalTable, names.BRISK_PATH, base, nullptr);
                variableAppend(globalTable, names.BRISK_PATH, istringNew("conf"), istringNew("/"));
            } else {
                variableAppend(globalTable, names.BRISK_PATH, istringNew("\\brisk"), nullptr);
            }
        }
    }
    istring include = variableExpand(globalTable, includeName, 0);
    if (include && *include)
        variablePrepend(globalTable, names.BRISK_PATH, includeName, nullptr);
}

}  // namespace

void driverStartUp() {
    istringInit();
    charClassInit();
    keywordInit();
    fatalTrace = statementTraceAll;
    inputPendingLines = postprocessTake;
    namesInit();
    variableSet(globalTable, names.EMIT, istringNew(".EMIT-NOW .OBJS .EMIT .RULES"));
    variableSet(globalTable, names.DELIMITER, istringNew(" \t"));
    textInit();
    scopeNew(nullptr);
    inputPrefix = istringNew("");
}

int briskMain(int argc, char **argv) {
    program_invocation_name = const_cast<char *>(programName);
    program_invocation_short_name = const_cast<char *>(programName);

    driverStartUp();

    driverArguments(argc, argv);
    driverHostValues(argc, argv);
    driverToolchainValues();

    const istring includeName = istringNew("-I");
    variableUses(globalTable, names.BRISK_PATH, ";");
    variableUses(globalTable, includeName, ";");

    DriverOptions options;
    int first = driverOptions(argc, argv, options, includeName);

    driverSearchPath(includeName);

    defaultOutputName = istringNew(options.outputName);
    textCreate(names.EMIT, defaultOutputName, defaultOutputStream);
    textCreate(istringNew(".EMIT-NOW"), defaultOutputName, defaultOutputStream);
    textCreate(istringNew(".POSTPROCESS"), nullptr, nullptr);
    textCreate(istringNew(".FUNCTEXT"), nullptr, nullptr);
    if (dependStream)
        fprintf(dependStream, "%s:", defaultOutputName);

    int operands = argc - first;
    if (operands == 0) {
        inputAdd(stdin, "<STDIN>");
        variableSet(globalTable, names.CFFILE, istringNew("<STDIN>"));
    } else if (operands == 1) {
        istring file = istringNew(argv[first]);
        inputInclude(file);
        variableSet(globalTable, names.CFFILE, file);
    } else {
        driverUsage();
    }

    yyparse();

    inputDependEnd("\n");

    TextObject *objects = textCreate(istringNew(".OBJS"), defaultOutputName, defaultOutputStream);
    objects->builds = buildList;
    objects->writer = objEmit;
    TextObject *rules = textCreate(istringNew(".RULES"), defaultOutputName, defaultOutputStream);
    rules->builds = buildList;
    rules->writer = rulesEmit;

    sectionsEmit();
    textCloseAll();
    textCheckStdout();
    return 0;
}
