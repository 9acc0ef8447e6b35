#include "OdString.h"

#include "OdAnsiString.h"
#include "OdUnicode.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <vector>

namespace {

int clampIndex(int index, size_t size) { return std::clamp(index, 0, static_cast<int>(size)); }

int position(size_t pos) { return pos == std::wstring::npos ? -1 : static_cast<int>(pos); }

}  // namespace

OdString::OdString(const OdAnsiString& s) { (void)od_unicode::decodeUtf8(s.str(), m_s, true); }

int OdString::compare(const wchar_t* other) const { return m_s.compare(other ? other : L""); }

int OdString::iCompare(const wchar_t* other) const {
  const wchar_t* a = m_s.c_str();
  const wchar_t* b = other ? other : L"";
  for (;; ++a, ++b) {
    const wchar_t ca = od_unicode::toLower(*a);
    const wchar_t cb = od_unicode::toLower(*b);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

int OdString::find(wchar_t ch, int start) const { return start < 0 ? -1 : position(m_s.find(ch, start)); }

int OdString::find(const wchar_t* text, int start) const {
  return start < 0 || !text ? -1 : position(m_s.find(text, start));
}

int OdString::reverseFind(wchar_t ch) const { return position(m_s.rfind(ch)); }

int OdString::findOneOf(const wchar_t* chars) const {
  return chars ? position(m_s.find_first_of(chars)) : -1;
}

OdString OdString::left(int count) const { return OdString(m_s.substr(0, clampIndex(count, m_s.size()))); }

OdString OdString::right(int count) const {
  const int n = clampIndex(count, m_s.size());
  return OdString(m_s.substr(m_s.size() - n));
}

OdString OdString::mid(int start, int count) const {
  const int from = clampIndex(start, m_s.size());
  return OdString(m_s.substr(from, count < 0 ? std::wstring::npos : static_cast<size_t>(count)));
}

OdString& OdString::makeUpper() {
  for (wchar_t& c : m_s) c = od_unicode::toUpper(c);
  return *this;
}

OdString& OdString::makeLower() {
  for (wchar_t& c : m_s) c = od_unicode::toLower(c);
  return *this;
}

OdString& OdString::trimLeft(wchar_t ch) {
  m_s.erase(0, std::min(m_s.find_first_not_of(ch), m_s.size()));
  return *this;
}

OdString& OdString::trimRight(wchar_t ch) {
  const size_t last = m_s.find_last_not_of(ch);
  m_s.erase(last == std::wstring::npos ? 0 : last + 1);
  return *this;
}

OdString& OdString::trimLeft() {
  auto it = std::find_if(m_s.begin(), m_s.end(), [](wchar_t c) { return !std::iswspace(c); });
  m_s.erase(m_s.begin(), it);
  return *this;
}

OdString& OdString::trimRight() {
  auto it = std::find_if(m_s.rbegin(), m_s.rend(), [](wchar_t c) { return !std::iswspace(c); });
  m_s.erase(it.base(), m_s.end());
  return *this;
}

int OdString::replace(wchar_t from, wchar_t to) {
  int count = 0;
  for (wchar_t& c : m_s) {
    if (c == from) {
      c = to;
      ++count;
    }
  }
  return count;
}

int OdString::replace(const wchar_t* from, const wchar_t* to) {
  if (!from || !*from) return 0;
  const std::wstring_view what(from), with(to ? to : L"");
  std::wstring result;
  int count = 0;
  size_t pos = 0;
  for (size_t hit; (hit = m_s.find(what, pos)) != std::wstring::npos; pos = hit + what.size(), ++count) {
    result.append(m_s, pos, hit - pos).append(with);
  }
  if (count) m_s = std::move(result.append(m_s, pos));
  return count;
}

int OdString::remove(wchar_t ch) {
  const size_t before = m_s.size();
  std::erase(m_s, ch);
  return static_cast<int>(before - m_s.size());
}

int OdString::insert(int index, wchar_t ch) {
  m_s.insert(m_s.begin() + clampIndex(index, m_s.size()), ch);
  return getLength();
}

int OdString::insert(int index, const wchar_t* text) {
  if (text) m_s.insert(clampIndex(index, m_s.size()), text);
  return getLength();
}

int OdString::deleteChars(int index, int count) {
  if (index >= 0 && count > 0 && index < getLength()) m_s.erase(index, count);
  return getLength();
}

OdString& OdString::format(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  formatV(fmt, args);
  va_end(args);
  return *this;
}

OdString& OdString::formatV(const wchar_t* fmt, va_list args) {
  m_s.clear();
  if (!fmt) return *this;
  // vswprintf reports a short buffer only by failing, so grow until the text fits.
  std::vector<wchar_t> buffer(256);
  for (;;) {
    va_list attempt;
    va_copy(attempt, args);
    const int n = std::vswprintf(buffer.data(), buffer.size(), fmt, attempt);
    va_end(attempt);
    if (n >= 0) {
      m_s.assign(buffer.data(), n);
      return *this;
    }
    if (buffer.size() >= (1u << 24)) return *this;
    buffer.resize(buffer.size() * 4);
  }
}

wchar_t* OdString::getBuffer(int minLength) {
  if (minLength > getLength()) m_s.resize(minLength);
  return m_s.data();
}

void OdString::releaseBuffer(int newLength) {
  m_s.resize(newLength < 0 ? std::wcslen(m_s.c_str()) : std::min<size_t>(newLength, m_s.size()));
}
