// Basic regular-expression matching with one cached compiled pattern.
#pragma once
#include "core/istring.h"

int patternMatch(const char *text, istring pattern);
