// The lexer: tokens, keywords, operators, block lines and prefixes.
#include <gtest/gtest.h>

#include <string>

#include "input/input.h"
#include "input/lexer.h"
#include "language/state.h"
#include "input/tokens.h"
#include "support.h"
#include "variables/variable.h"

namespace {

istring s(const char *text) { return istringNew(text); }
using support::TempDir;

const char *const tokenNames[] = {
    "AND", "APPEND", "ASSIGN", "BUILD", "BY", "CALL", "COMMAND_LINE", "CONDASSIGN", "CURRENT",
    "DUMPVARS", "DYNAMIC", "ECHO", "ELSE", "EMIT", "EOC", "EOL", "EQUAL", "ERROR", "EXISTS", "EXIT",
    "EXPAND", "EXPORT", "FAKE", "FOR", "FUNCTION", "FREETEXT", "GLOBAL", "IMPORT", "IN", "INCLUDE",
    "INTERMEDIATE", "IS", "MINUSEQUAL", "NEW", "NOT", "NOTEQUAL", "NOW", "OR", "OUTPUT",
    "PATTERNCHECK", "POSTPROCESS", "PREPEND", "PRETTY", "SCOPE", "SET", "SOC", "SOL", "STRING",
    "STRIP", "TAG", "TEMPLATE", "TO", "UNSET", "USES", "WHEN", "WITH",
};

// A token as text: its name, with the value in brackets for the tokens that
// carry one.
std::string describe(int token) {
    if (token == -1)
        return "END";
    if (token < 256)
        return std::string("'") + static_cast<char>(token) + "'";
    std::string name = tokenNames[token - AND];
    if (token == STRING || token == FREETEXT || token == COMMAND_LINE)
        name += "[" + std::string(reinterpret_cast<istring>(yylval.value)) + "]";
    return name;
}

class Lexer : public support::InputFixture {
protected:

    void push(const std::string &text) { scratch.push(text); }

    // The next `count` tokens (all of them up to the end of input when
    // `count` is negative), separated by blanks.
    static std::string next(int count) {
        std::string out;
        for (int i = 0; i != count; i++) {
            int token = yylex();
            out += (i ? " " : "") + describe(token);
            if (token == -1)
                break;
        }
        return out;
    }

    TempDir scratch;
};

TEST_F(Lexer, TokenStreams) {
    const std::pair<const char *, const char *> cases[] = {
        // Operators, whether or not blanks surround them; an indented line has no SOL.
        {"X=1\n  X=1\na==b\na=+b\na+=b\na = =b\na?=b\na-=b\na~=b\n",
         "SOL STRING[X] ASSIGN STRING[1] EOL STRING[X] ASSIGN STRING[1] EOL SOL STRING[a] EQUAL STRING[b] EOL SOL STRING[a] APPEND STRING[b] EOL "
         "SOL STRING[a] PREPEND STRING[b] EOL SOL STRING[a] ASSIGN STRING[=b] EOL "
         "SOL STRING[a] CONDASSIGN STRING[b] EOL SOL STRING[a] MINUSEQUAL STRING[b] EOL "
         "SOL STRING[a] PATTERNCHECK STRING[b] EOL END"},
        {"when !exists f\nwhen a != b && c || d\necho a!b c-d\n",
         "SOL WHEN '!' EXISTS STRING[f] EOL SOL WHEN STRING[a] NOTEQUAL STRING[b] AND STRING[c] OR STRING[d] EOL "
         "SOL ECHO STRING[a] '!' STRING[b] STRING[c-d] EOL END"},
        // After an assignment operator every word is a string, up to a with-clause value.
        {"X = a(b) c:d when {\nglobal X += x&&y\nwith X = when\n",
         "SOL STRING[X] ASSIGN STRING[a(b)] STRING[c:d] STRING[when] STRING[{] EOL "
         "SOL GLOBAL STRING[X] PREPEND STRING[x&&y] EOL SOL WITH STRING[X] ASSIGN WHEN EOL END"},
        // Quoted or escaped words are never keywords; the lexer translates an
        // escaped character and then reads it once more.
        {"echo \"when\" When -output 'a b' \"a b\"c \"x\\ty\"\n",
         "SOL ECHO STRING[when] STRING[When] OUTPUT STRING['a b'] STRING[a bc] STRING[x\ty] EOL END"},
        {"echo \\\\tz \\\\when a\\\\\\\\\n", "SOL ECHO STRING[\ttz] STRING[wwhen] STRING[a\\] EOL END"},
        // A lone brace opens or closes a block; one glued to a word does not.
        {"x {\n  {  \n}\nx {y\n", "SOL STRING[x] SOC SOC EOC SOL STRING[x] STRING[{y] EOL END"},
    };
    for (const auto &[text, tokens] : cases) {
        lexReset();
        push(text);
        EXPECT_EQ(next(-1), tokens) << text;
    }
}

TEST_F(Lexer, MissingPrefixWarnsOrClosesTheBlock) {
    push("\tword\n}\nfoo\n");
    inputPrefix = s("\t");
    EXPECT_EQ(next(4), "SOL STRING[word] EOL EOC");
    testing::internal::CaptureStderr();
    EXPECT_EQ(next(3), "SOL STRING[foo] EOL");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "conf:3 missing prefix string (foo)\n");
}

TEST_F(Lexer, NestedBracesInFreeTextAreCounted) {
    push("a {\n}\n}\n\tx {\n}\n");
    lineMode = 1;
    braceDepth = 1;
    EXPECT_EQ(next(1), "FREETEXT[a {]");
    EXPECT_EQ(braceDepth, 2);
    EXPECT_EQ(next(2), "FREETEXT[}] EOC");
    EXPECT_EQ(braceDepth, 0);
    // A line that had the prefix removed does not count.
    inputPrefix = nullptr;
    braceDepth = 1;
    EXPECT_EQ(next(2), "FREETEXT[x {] EOC");
}

TEST_F(Lexer, FirstBodyLineDecidesThePrefix) {
    push("\n\t|Column0\n\t\tdeep\n\tflat\n}\n");
    inputPrefix = nullptr;
    lineMode = 1;
    EXPECT_EQ(next(1), "FREETEXT[]");
    EXPECT_EQ(inputPrefix, nullptr);
    EXPECT_EQ(next(3), "FREETEXT[\tdeep] FREETEXT[flat] EOC");
    EXPECT_EQ(inputPrefix, s("\t"));
}

TEST_F(Lexer, OnlyTheFirstEightTokensOfALineAreRecorded) {
    push("echo a b c d e f g h i\n");
    next(12);
    EXPECT_EQ(lineTokenCount, 8);
    EXPECT_STREQ(reinterpret_cast<istring>(lineTokens[7].value.value), "f");
}

}  // namespace
