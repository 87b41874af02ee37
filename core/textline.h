// Line records: one line of kept text with the location where it was first
// read. Lists of them are section contents, kept bodies and in-memory input
// sources alike.
#pragma once
#include "core/istring.h"

enum : unsigned { TEXT_PRETTY = 1, TEXT_EXPAND = 2 };

struct TextLine {
    TextLine *next;
    TextLine *link;   // first line: the last line; others: the line before
    istring text;
    unsigned flags;   // TEXT_PRETTY, TEXT_EXPAND
    istring file;
    int line;
};
