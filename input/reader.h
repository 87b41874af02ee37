// The line reader: raw physical lines to logical lines, with continuations,
// escapes, quotes, comments and references expanded while reading.
#pragma once

// Next logical line in the reader's own buffer (valid until the next call),
// or NULL at the end of all input.
char *inputGetLine();
