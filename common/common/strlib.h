// The string helpers that the whole system shares. They work in place on the caller's buffers;
// those with a static result or state say so: the next call overwrites it.
#pragma once

// Bytes that the target of str_chain holds, terminator included.
constexpr int STR_CHAIN_SIZE = 512;

// Appends the string arguments to cpInstr (a buffer of 512 bytes, emptied first if clr_str is not
// 0) up to an empty string, which must be the last argument. A piece that would make the text
// longer than 511 characters is left out and reported in the protocol and on standard error; the
// pieces behind it are still appended. Returns cpInstr.
char *str_chain(char *cpInstr, int clr_str, ...);

// Removes blanks and tabs at both ends, in place. Returns cpInstr.
char *str_trim(char *cpInstr);

// Collapses every run of the character c to a single one, in place. Returns s.
char *squeeze(char *s, int c);

// Puts a backslash before every c, in place; s is a buffer of iLen bytes and the result is cut to
// iLen - 1 characters. Returns s, or null (with a trace line) when memory runs out.
char *szChar2EscapeChar(char *s, int c, int iLen);

// Convert ASCII letters in place. Return s.
char *lowercase(char *s);
char *uppercase(char *s);

// The number as decimal text in a static buffer of each function.
char *intoas(long lNumber);
char *longtoasc(long lNumber);

// Tokenizer for a single delimiter that, unlike the standard one, returns empty tokens: "a::b" has
// three, "a:" two. With a string, copies it (at most 8191 characters, a cut is reported on standard
// error) and returns its first token; with null, the next token of that copy, null behind the last:
// the copy is split once, a delimiter given with null is ignored. The state is static: a
// tokenization that starts in between ends the first.
char *cm_strtok(const char *cpString, int cDelim);

// Copies element iIndex (from 0) of the delimited text cpSrc to cpDest, a buffer of 768 bytes; a
// single leading delimiter is dropped and at most 767 characters of cpSrc count. Returns 1; or 0
// with an empty cpDest when there are fewer elements, or cpSrc is empty or only the delimiter.
// Uses cm_strtok.
int str_elem(int iIndex, char cDelim, const char *cpSrc, char *cpDest);

// Turn every "/" into a backslash, every backslash into "/", in place. Return cpX.
char *szPath2Dos(char *cpX);
char *szPath2Unix(char *cpX);
