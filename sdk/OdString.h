// OdString: the drawing SDK's wide string, as far as qxutils and its users need it.
//
// A value type over std::wstring. Every constructor accepts a null pointer as the empty string, and the
// implicit conversion to `const wchar_t*` lets an OdString go wherever a C wide string is expected.
//
//   OdString s(L"Layer");
//   s += L"_1";                 // s == L"Layer_1"
//   s.find(L'_');               // 5
//   s.mid(6);                   // L"1"
//   OdString().format(L"%ls_%d", s.c_str(), 2);  // L"Layer_1_2"
//
// Indices and lengths are int, as in the SDK; a position that is not found is -1.

#ifndef QX_SDK_ODSTRING_H
#define QX_SDK_ODSTRING_H

#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>

class OdAnsiString;

class OdString {
 public:
  OdString() = default;
  OdString(const wchar_t* s) : m_s(s ? s : L"") {}
  OdString(const wchar_t* s, int length) : m_s(s ? std::wstring(s, length) : std::wstring()) {}
  OdString(wchar_t ch, int count) : m_s(count > 0 ? count : 0, ch) {}
  OdString(std::wstring s) : m_s(std::move(s)) {}
  OdString(std::wstring_view s) : m_s(s) {}
  // Widens a narrow string, taking it as UTF-8 (invalid bytes become U+FFFD).
  explicit OdString(const OdAnsiString& s);

  const wchar_t* c_str() const { return m_s.c_str(); }
  operator const wchar_t*() const { return m_s.c_str(); }
  const std::wstring& str() const { return m_s; }
  std::wstring_view view() const { return m_s; }

  int getLength() const { return static_cast<int>(m_s.size()); }
  bool isEmpty() const { return m_s.empty(); }
  OdString& empty() {
    m_s.clear();
    return *this;
  }

  wchar_t getAt(int index) const { return m_s.at(index); }
  void setAt(int index, wchar_t ch) { m_s.at(index) = ch; }
  wchar_t operator[](int index) const { return m_s.at(index); }

  int compare(const wchar_t* other) const;
  // Case-insensitive comparison, each character folded to lower case by its Unicode simple mapping.
  int iCompare(const wchar_t* other) const;

  int find(wchar_t ch, int start = 0) const;
  int find(const wchar_t* text, int start = 0) const;
  int reverseFind(wchar_t ch) const;
  int findOneOf(const wchar_t* chars) const;

  OdString left(int count) const;
  OdString right(int count) const;
  OdString mid(int start, int count = -1) const;

  // Unicode simple case mappings, independent of the locale.
  OdString& makeUpper();
  OdString& makeLower();
  // Without an argument, white space (iswspace) is trimmed.
  OdString& trimLeft(wchar_t ch);
  OdString& trimRight(wchar_t ch);
  OdString& trimLeft();
  OdString& trimRight();

  // Each returns the number of replacements or removals made.
  int replace(wchar_t from, wchar_t to);
  int replace(const wchar_t* from, const wchar_t* to);
  int remove(wchar_t ch);

  // Each returns the new length. Out-of-range positions are clamped to the string.
  int insert(int index, wchar_t ch);
  int insert(int index, const wchar_t* text);
  int deleteChars(int index, int count = 1);

  // printf-style formatting with the C library's wide conversions (%ls for wide strings).
  OdString& format(const wchar_t* fmt, ...);
  OdString& formatV(const wchar_t* fmt, va_list args);

  // Raw access for code that fills a buffer in place: getBuffer makes room for at least minLength
  // characters plus the terminator; releaseBuffer sets the length (-1: up to the first terminator).
  wchar_t* getBuffer(int minLength);
  void releaseBuffer(int newLength = -1);

  OdString& operator+=(const OdString& s) {
    m_s += s.m_s;
    return *this;
  }
  OdString& operator+=(const wchar_t* s) {
    if (s) m_s += s;
    return *this;
  }
  OdString& operator+=(wchar_t ch) {
    m_s += ch;
    return *this;
  }

  friend OdString operator+(OdString a, const OdString& b) { return a += b; }
  friend OdString operator+(OdString a, const wchar_t* b) { return a += b; }
  friend OdString operator+(OdString a, wchar_t b) { return a += b; }
  friend OdString operator+(const wchar_t* a, const OdString& b) { return OdString(a) += b; }

  friend bool operator==(const OdString& a, const OdString& b) { return a.m_s == b.m_s; }
  friend bool operator==(const OdString& a, const wchar_t* b) { return a.compare(b) == 0; }
  friend auto operator<=>(const OdString& a, const OdString& b) { return a.m_s <=> b.m_s; }

 private:
  std::wstring m_s;
};

template <>
struct std::hash<OdString> {
  size_t operator()(const OdString& s) const noexcept { return std::hash<std::wstring>()(s.str()); }
};

#endif
