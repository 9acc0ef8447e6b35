// String utilities: the small text jobs every family of qxutils needs: splitting, quoting, padding, number
// tests, name validation and uniquing, wildcards, slash correction, locale number formatting and
// code-page conversion.
//
// Two flavours stand side by side. Functions on raw zero-terminated wide buffers edit the buffer in place;
// the caller owns it and guarantees its capacity, and a null pointer makes the call do nothing (or answer
// false or null). Functions on OdString take it by value or edit it through a reference. Every function
// that fills an OdArray appends to it and never clears it first.
//
//   OdArray<OdString> parts;
//   ut::split(parts, L"a,,b", L",");              // parts: "a", "b"
//   ut::split(parts, L"a,,b", L",", true);        // appends "a", "", "b"
//   ut::correctSlashes(OdString(L"a/b|c"));       // L"a\\b c"
//   ut::makeUniqueName(L"Layer", [](const OdString& n) { return n != L"Layer_1"; }, true);
//                                                 // L"Layer_2"
//   OdString q(L"\"x\"");
//   ut::trimQuotes(q);                            // q == L"x"
//
// None of these functions keeps state or locks, so all may be called from any thread. Only ws2s and s2ws
// throw (std::range_error "bad conversion"); OdArray's own index checks throw OdError.

#ifndef QX_UT_STRING_H
#define QX_UT_STRING_H

#include "OdAnsiString.h"
#include "OdArray.h"
#include "OdString.h"

#include <cstdio>
#include <functional>
#include <string>

namespace ut {

// The one-character string U+00B0, the degree sign.
const wchar_t* DEGREE_SYMBOL();

// --- Splitting -----------------------------------------------------------------------------------------

// Cuts `str` at every separator, the longest one winning where several start at the same place. Empty
// pieces are kept only with `keepEmpty`; with `keepSeparators` each separator found becomes an element
// of its own. "a," gives "a" ("a" and "" with keepEmpty).
void split(OdArray<OdString>& out, const OdString& str, const OdArray<OdString>& separators,
           bool keepEmpty = false, bool keepSeparators = false);
void split(OdArray<OdString>& out, const OdString& str, const OdString& separator, bool keepEmpty = false,
           bool keepSeparators = false);
// Cuts at every `ch`; each piece, the last one included, is kept when non-empty or with `keepEmpty`.
void splitByChar(OdArray<OdString>& out, const OdString& str, wchar_t ch, bool keepEmpty = false);
// Lines ended by CR LF, CR or LF; CR LF is one line break.
void splitLines(OdArray<OdString>& out, const OdString& str, bool keepEmpty = false);
// Splits "library(slide)" (optionally followed by ".ext") into "library" and "slide". Anything else gives
// name = notation and an empty slide; an empty notation leaves both outputs untouched.
void splitSlideSpecification(const OdString& notation, OdString& name, OdString& slide);

// --- Quoting, trimming and padding ---------------------------------------------------------------------

// For a text of two or more characters that starts and ends with '"': cuts the last quote off in place
// and returns a pointer to the second character. Otherwise returns `s`.
wchar_t* trimQuotes(wchar_t* s);
// The same rule on an OdString, in place; returns `s`.
OdString& trimQuotes(OdString& s);
// Puts '"' around a non-empty string (no check for quotes already there); returns `s`.
OdString& wrapInQuotes(OdString& s);
// From `p`, just after an opening quote: the next '"' not escaped by a backslash, or null.
const wchar_t* findEndingQuote(const wchar_t* p);
// When `separator` occurs (last at index k > 0): drops trailing '0's after it, then the separator itself
// when nothing follows it. "12.500" gives "12.5", "12.000" gives "12", "1200" stays.
void trimTrailingZeros(OdString& s, const wchar_t& separator);
// Pad with spaces to `width` characters, at the front or at the end. The buffer must hold width + 1.
void padAtLeftSide(wchar_t* s, int width);
void padAtRightSide(wchar_t* s, int width);
// Shortens a text longer than `maxLen` (> 3) to `maxLen` characters with "...": mode "b..." cuts at the
// beginning ("...xyz"), mode "e..." at the end ("abc..."); other modes change nothing.
void truncateWithDots(wchar_t* s, int maxLen, const wchar_t* mode);
// Removes spaces by the letters of `mode`: 'b' leading, 'e' trailing, 'm' every space between the first
// and the last word. Does nothing to a text without spaces or of white space only.
void removeSpaces(wchar_t* s, const wchar_t* mode);
// The same four edits on an OdString, in place; each returns `s`.
OdString& padAtLeftSide(OdString& s, int width);
OdString& padAtRightSide(OdString& s, int width);
OdString& truncateWithDots(OdString& s, int maxLen, const wchar_t* mode);
OdString& removeSpaces(OdString& s, const wchar_t* mode);
// Copies at most n characters and always terminates at min(n, length of src); the buffer needs n + 1.
void safe_tcsncpy(wchar_t* dst, const wchar_t* src, size_t n);
// Reads a line of wide characters up to LF, DEL (0x7F), end of file or `n` characters; CRs are dropped.
// Returns null when nothing was stored before the end of the file, else `buf` (which needs n + 1).
wchar_t* nfgets(wchar_t* buf, int n, FILE* f);

// --- Prefixes, suffixes and case -----------------------------------------------------------------------

bool startsWith(const OdString& s, const OdString& prefix);
bool startsWithAny(const OdString& s, const OdString& a, const OdString& b);
bool endsWith(const OdString& s, const OdString& suffix);
// The text before the first `ch`, or all of `s` when there is none.
OdString beforeFirst(const OdString& s, wchar_t ch);
// The text after the first `ch`, or the empty string when there is none.
OdString afterFirst(const OdString& s, wchar_t ch);
OdString removeLast(const OdString& s);
OdString toUpperCase(const OdString& s);
OdString toLowerCase(const OdString& s);
// Compares at most n characters with only ASCII A-Z folded to a-z; the difference of the first
// differing folded characters, or 0.
int compareNamesLowercase(const wchar_t* a, const wchar_t* b, size_t n);
// Case-insensitive search; a pointer into `haystack`, or null.
const wchar_t* findSubstringNoCase(const wchar_t* haystack, const wchar_t* needle);
void replaceSymbol(wchar_t* s, wchar_t from, wchar_t to);
OdString& replaceSymbol(OdString& s, wchar_t from, wchar_t to);

// --- Number and character tests ------------------------------------------------------------------------

// Base-10 (or floating-point) conversion that must consume at least one character and may be followed
// only by white space. The value is stored even when the answer is false.
bool isNumber(const wchar_t* s, long* value);
bool isNumber(const wchar_t* s, long long* value);
bool isNumber(const wchar_t* s, double* value);
// An integer, or failing that a floating-point number.
bool isNumber(const wchar_t* s);
bool isInteger(const wchar_t* s);
// Every character at most 127 (true for the empty string).
bool isASCII(const wchar_t* s);
bool isValidHexDigit(wchar_t c);
// Optional leading spaces, then hexadecimal digits only; spaces alone count as valid.
bool isValidHandleString(const wchar_t* s);
// The letters of the text format codes that carry a value up to ';': A C F H Q S T W a c f h p q s t w.
bool isMTextFormatCodeWithValue(wchar_t c);
// Strong left-to-right, resp. right-to-left (Hebrew, Arabic) characters.
bool isLeftToRightChar(wchar_t c);
bool isRightToLeftChar(wchar_t c);
// Any of * ? , . # @ ` [ ~ occurs.
bool hasWildcard(const wchar_t* s);
// True when the text holds no '/'.
bool checkSlashes(const wchar_t* s);
bool checkSlashes(const OdString& s);

// --- Conversions and formatting ------------------------------------------------------------------------

// '/' becomes '\' and '|' becomes a space.
OdString correctSlashes(const wchar_t* s);
OdString correctSlashes(const OdString& s);
OdString& correctSlashes(OdString& s);
OdString makeBackSlashes(const wchar_t* s);
OdString makeBackSlashes(const OdString& s);
OdString makeForwardSlashes(const wchar_t* s);
OdString makeForwardSlashes(const OdString& s);
// A backquote before each of . # @ [ - ] ~ not escaped already. "a.b" gives "a`.b", "a`.b" stays.
OdString escapeWildcards(const OdString& s);
// Formats a plain decimal number ("-1234.50") with the user's locale: "-1,234.50" in English. Input that
// is not such a number comes back unchanged.
OdString getNumberFormat(const OdString& number, bool noLeadingZero);

// Multi-line text format codes: "\H2.5;", "\fArial|b1;" and the other codes with a value up to ';', the
// switches "\L \l \O \o \K \k", "\P" (a paragraph break), braces for grouping, "\\", "\{" and "\}" for the
// literal characters, "\~" for a non-breaking space, "\U+XXXX" for a character, and stacked fractions
// "\S1/2;". removeFormatting keeps the plain text: "{\H2;Size \Lup\l}\P\S1/2;" gives "Size up\n1/2"
// with `keepLineBreaks`, "Size up 1/2" without it (a paragraph break becomes a space).
//   - A stacked fraction keeps both its texts with '/' between them, whichever of '/', '#' (diagonal) or
//     '^' (tolerance) separates them: "\S1#2;" and "\S+1^-2;" give "1/2" and "+1/-2". Inside the stack a
//     backslash makes the next character literal: "\S1\/2/3;" gives "1/2/3".
//   - An unknown code (a backslash and any other character, "\N", "\X") is dropped like a switch; so is
//     "\U" not followed by '+' and four hexadecimal digits, or standing for U+0000.
//   - A code whose value has no ';' runs to the end of the text, all of it dropped.
//   - A backslash at the very end is kept as it is.
// The result is never longer than `text`, and a text without '\', '{' and '}' comes back unchanged.
OdString removeFormatting(const OdString& text, bool keepLineBreaks);
// True when `text` starts with what removeFormatting takes out without leaving any text: a code with a
// value, a switch, an unknown code, or a grouping brace. False for plain text, for a code that stands for
// text ("\\", "\{", "\}", "\~", "\P", "\U+XXXX", a terminated stacked fraction), and for a null pointer.
bool isFormattingChar(const wchar_t* text);

// The text in code page `codePage` (0: the system's ANSI code page; 1200 counts as 0; 65001: UTF-8).
// Characters the code page lacks become their nearest form or '?'; empty when nothing converts.
OdAnsiString convertToAnsi(const OdString& s, unsigned codePage);
// The form of a file name that narrow-character file functions take.
std::string convFileNameToMB(const wchar_t* fileName);
// UTF-8 conversions, one code point per wchar_t. Throw std::range_error("bad conversion") for a
// character that UTF-8 cannot carry, or bytes that are not UTF-8.
std::string ws2s(const std::wstring& s);
std::wstring s2ws(const std::string& s);
// Sorts by the collation of the C library's current locale; returns the number of elements.
int sortStrings(OdArray<OdString>& strings, bool caseInsensitive);

struct OdStringHash {
  size_t operator()(const OdString& s) const noexcept;
};

// Lexicographic order of string arrays, element by element.
struct OdStringArrayLess {
  bool operator()(const OdArray<OdString>& a, const OdArray<OdString>& b) const;
};

// --- Names ---------------------------------------------------------------------------------------------

// Whether `name` is a valid symbol-table name (OdDbSymUtil::validateSymbolName) once its escapes are
// decoded: "\U+XXXX" (U in either case) stands for that character, "\M+NXXXX" for the two bytes XX XX
// read in the ANSI code page. An escape that does not decode (U+0000, bytes the code page cannot read)
// stays as written. Escapes are decoded within the first 256 characters only. Extended names may be up to
// 255 characters long and hold most characters; without `extendedNames` only 31 letters, digits, '$', '-'
// and '_' are allowed. `allowVerticalBar` admits '|' under both rules. False for a null pointer.
//   isValidName(L"Walls")                     // true
//   isValidName(L"a\\U+003Fb")                // false: "a?b"
//   isValidName(L"Walls 2", false, false)     // false: a space
bool isValidName(const wchar_t* name, bool allowVerticalBar = false, bool extendedNames = true);
// Decodes the escapes of `name` as isValidName does and replaces what makes it invalid by `replacement`
// (OdDbSymUtil::repairSymbolName, '|' not allowed): characters refused, a leading or trailing space, and
// what goes beyond the maximum length; an empty name becomes `replacement` alone. With
// `keepLeadingAsterisk`, a name that begins with '*' keeps it ("*Model_Space"). A name that is valid
// once decoded comes back as it is, escapes and all.
//   makeValidName(L"a<b>")                    // L"a_b_"
//   makeValidName(L"*D12", L'_', true)        // L"*D12"
OdString makeValidName(const OdString& name, wchar_t replacement = L'_', bool keepLeadingAsterisk = false,
                       bool extendedNames = true);
// `name` itself when `isUnique` accepts it (unless `forceSuffix`); else the first accepted of numbered
// candidates: "Layer" gives "Layer_1", "Layer_2", ...; "Layer_7" continues at "Layer_7" or "Layer_8";
// "Layer 3" at "Layer 3", "Layer 4"; "Layer5" gives "Layer5_1", "123" gives "123_1", "name_" gives
// "name_0". A trailing number beyond the range of int is not counted on: "a_99999999999" gives
// "a_99999999999_1". There is no upper bound; `isUnique` is called until it accepts a candidate. With an
// empty `isUnique`, `name` comes back.
OdString makeUniqueName(const OdString& name, std::function<bool(const OdString&)> isUnique,
                        bool forceSuffix = false, const wchar_t& separator = L'_');

}  // namespace ut

#endif
