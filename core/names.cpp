// The built-in names and the global variable table.
#include "core/names.h"

BuiltinNames names;
HashTable *globalTable;

void namesInit() {
    // The order of interning is fixed.
    names.ARGC = istringNew(".ARGC");
    names.ARGV = istringNew(".ARGV");
    names.FILE_ = istringNew(".FILE");
    names.LINE = istringNew(".LINE");
    names.CURRENT_SCOPE = istringNew(".CURRENT_SCOPE");
    names.Column0 = istringNew("|Column0");
    names.CFFILE = istringNew(".CFFILE");
    names.HOSTNAME = istringNew(".HOSTNAME");
    names.PWD = istringNew(".PWD");
    names.TIME = istringNew(".TIME");
    names.USER = istringNew(".USER");
    names.DELIMITER = istringNew(".DELIMITER");
    names.DEPFILES = istringNew(".DEPFILES");
    names.DEBUGFLAGS = istringNew(".DEBUGFLAGS");
    names.EMIT = istringNew(".EMIT");
    names.IOBJS = istringNew("IOBJS");
    names.MATCH = istringNew(".MATCH");
    names.empty = istringNew("");
    names.OBJS = istringNew("OBJS");
    names.Source = istringNew("/Source");
    names.Suffix = istringNew("/Suffix");
    names.SOURCE = istringNew(".SOURCE");
    names.blank = istringNew(" ");
    names.SRCPATH = istringNew(".SRCPATH");
    names.BRISK_DIR = istringNew("BRISK_DIR");
    names.BRISK_PATH = istringNew("BRISK_PATH");
    names.TRUE_ = istringNew(".TRUE");
    names.FALSE_ = istringNew(".FALSE");
    names.True = istringNew("True");
    names.False = istringNew("False");
    names.SEPARATOR = istringNew(".SEPARATOR");
    names.TERN_BASE = istringNew("TERN_BASE");
    names.TERN_HOME = istringNew("TERN_HOME");
    names.TERN_HOST_TYPE = istringNew("TERN_HOST_TYPE");
    names.TERN_TOOLS = istringNew("TERN_TOOLS");
    names.newScopeLine = istringNew("in new scope {");
    names.closeBraceLine = istringNew("}");
    names.emitDebugLine = istringNew("#EMIT $(.FILE):$(.LINE)");
    names.star = istringNew("*");

    globalTable = ht_new();
}
