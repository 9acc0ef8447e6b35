// POSIX backend of the text platform interface: iconv for code pages, FriBidi for character direction,
// and the environment's locale, opened with newlocale so that the process locale stays the host's.

#include "platform/text.h"

#include "core/ut_compose.h"
#include "core/ut_utf8.h"

#include <fribidi.h>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <vector>

namespace ut::platform {

namespace {

// The user's locale as the environment names it now (LC_ALL, LC_*, LANG), falling back to "C" when it
// names a locale that is not installed. Loading a locale maps its files, which costs far more than most
// uses of it, so the one loaded last serves while the environment names the same.
class UserLocale {
 public:
  static std::shared_ptr<const UserLocale> current() {
    static std::mutex mutex;
    static std::string loadedFor;
    static std::shared_ptr<const UserLocale> loaded;
    std::string key = environmentKey();
    const std::lock_guard lock(mutex);
    if (!loaded || key != loadedFor) {
      loaded = std::make_shared<const UserLocale>();
      loadedFor = std::move(key);
    }
    return loaded;
  }

  UserLocale() : m_locale(newlocale(LC_ALL_MASK, "", locale_t(nullptr))) {
    if (!m_locale) m_locale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
  }
  ~UserLocale() {
    if (m_locale) freelocale(m_locale);
  }
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;

  const char* info(nl_item item) const { return m_locale ? nl_langinfo_l(item, m_locale) : ""; }
  // The number of bytes strftime wrote, 0 when they did not fit.
  size_t formatTime(char* buffer, size_t size, const char* format, const std::tm& time) const {
    return m_locale ? strftime_l(buffer, size, format, &time, m_locale) : strftime(buffer, size, format, &time);
  }

 private:
  // What names the locale that "" stands for.
  static std::string environmentKey() {
    std::string key;
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY",
                             "LC_MESSAGES", "LC_PAPER", "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE",
                             "LC_MEASUREMENT", "LC_IDENTIFICATION", "LANG", "LOCPATH"}) {
      const char* value = std::getenv(name);
      key += value ? value : "\x01";  // unset differs from set to ""
      key += '\0';
    }
    return key;
  }

  locale_t m_locale;
};

std::string ansiCodeset() { return UserLocale::current()->info(CODESET); }

bool isUtf8(const std::string& codeset) { return strcasecmp(codeset.c_str(), "UTF-8") == 0; }

std::string codesetOf(unsigned codePage) {
  if (codePage == kAnsiCodePage) return ansiCodeset();
  if (codePage == kUtf8CodePage) return "UTF-8";
  return "CP" + std::to_string(codePage);
}

// One conversion descriptor for one call; iconv_t is not safe to share between threads.
class Converter {
 public:
  Converter(const std::string& to, const std::string& from) : m_cd(iconv_open(to.c_str(), from.c_str())) {}
  ~Converter() {
    if (valid()) iconv_close(m_cd);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool valid() const { return m_cd != reinterpret_cast<iconv_t>(-1); }

  // Converts all of `in` and appends the raw bytes produced to `out`. False at an invalid or incomplete
  // sequence, unless `replaceInvalid` is set: then each invalid input unit becomes '?'.
  bool run(const char* in, size_t inSize, size_t unitSize, std::string& out, bool replaceInvalid) {
    std::array<char, 4096> buffer;
    auto* inPtr = const_cast<char*>(in);
    while (inSize > 0) {
      char* outPtr = buffer.data();
      size_t outLeft = buffer.size();
      const size_t rc = iconv(m_cd, &inPtr, &inSize, &outPtr, &outLeft);
      out.append(buffer.data(), outPtr - buffer.data());
      if (rc != static_cast<size_t>(-1) || errno == E2BIG) continue;
      if (!replaceInvalid || errno == EINVAL) return false;
      out += '?';
      inPtr += unitSize;
      inSize -= unitSize;
    }
    return true;
  }

 private:
  iconv_t m_cd;
};

// Lead and trail bytes of the ANSI code page where it is a double-byte one, found by asking iconv
// which single bytes are incomplete and which pairs complete them.
struct DoubleByteTables {
  std::array<bool, 256> lead{};
  std::array<bool, 256> trail{};

  std::string codeset;

  explicit DoubleByteTables(std::string name) : codeset(std::move(name)) {
    if (isUtf8(codeset)) return;
    for (unsigned b = 0x80; b < 0x100; ++b) lead[b] = isIncomplete(codeset, b);
    for (unsigned l = 0x80; l < 0x100; ++l) {
      if (!lead[l]) continue;
      for (unsigned t = 0x40; t < 0x100; ++t) trail[t] = trail[t] || convertsWhole(codeset, l, t);
    }
  }

  static bool isIncomplete(const std::string& codeset, unsigned b) {
    Converter converter("WCHAR_T", codeset);
    const char byte = static_cast<char>(b);
    std::string ignored;
    return converter.valid() && !converter.run(&byte, 1, 1, ignored, false) && errno == EINVAL;
  }

  static bool convertsWhole(const std::string& codeset, unsigned l, unsigned t) {
    Converter converter("WCHAR_T", codeset);
    const char pair[2] = {static_cast<char>(l), static_cast<char>(t)};
    std::string out;
    return converter.valid() && converter.run(pair, 2, 1, out, false) && out.size() == sizeof(wchar_t);
  }
};

// The tables of the current ANSI code page, made again only when the environment names another one.
std::shared_ptr<const DoubleByteTables> doubleByteTables() {
  static std::mutex mutex;
  static std::shared_ptr<const DoubleByteTables> tables;
  std::string codeset = ansiCodeset();
  std::lock_guard lock(mutex);
  if (!tables || tables->codeset != codeset) tables = std::make_shared<DoubleByteTables>(std::move(codeset));
  return tables;
}

std::wstring localeText(const UserLocale& locale, nl_item item) {
  return codePageToWide(locale.info(item), kAnsiCodePage);
}

// POSIX grouping lists group sizes from the decimal point outwards; the last repeats unless CHAR_MAX
// follows it. The Windows text ends in ";0" exactly when the last size repeats, and names a repeated
// size once ("3;0", not "3;3;0").
std::wstring windowsGrouping(const char* grouping) {
  std::vector<int> sizes;
  const char* g = grouping;
  for (; *g && *g != CHAR_MAX; ++g) sizes.push_back(*g);
  const bool repeats = *g == 0;
  while (repeats && sizes.size() >= 2 && sizes.back() == sizes[sizes.size() - 2]) sizes.pop_back();
  std::wstring text;
  for (int size : sizes) text += (text.empty() ? L"" : L";") + std::to_wstring(size);
  if (repeats && !sizes.empty()) text += L";0";
  return text;
}

}  // namespace

namespace {

bool encodes(const std::string& codeset, wchar_t c) {
  Converter strict(codeset, "WCHAR_T");
  std::string ignored;
  return strict.valid() && strict.run(reinterpret_cast<const char*>(&c), sizeof c, sizeof c, ignored, false);
}

// What WideCharToMultiByte's composite check does: a base and the combining marks after it become one
// precomposed character where the code page holds one; where it does not, they stay apart.
std::wstring composedFor(std::wstring_view text, const std::string& codeset) {
  std::wstring out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    wchar_t c = text[i];
    for (; i + 1 < text.size() && internal::mayCompose(static_cast<char32_t>(text[i + 1])); ++i) {
      const auto composed =
          static_cast<wchar_t>(internal::composePair(static_cast<char32_t>(c), text[i + 1]));
      if (!composed || !encodes(codeset, composed)) break;
      c = composed;
    }
    out += c;
  }
  return out;
}

}  // namespace

// UTF-8 holds every combining mark as it is: nothing is composed for it.
std::string wideToCodePage(std::wstring_view text, unsigned codePage) {
  const std::string codeset = codesetOf(codePage);
  Converter converter(codeset + "//TRANSLIT", "WCHAR_T");
  std::string out;
  if (!converter.valid()) return out;
  std::wstring composed;
  const auto mayCompose = [](wchar_t c) { return internal::mayCompose(static_cast<char32_t>(c)); };
  if (!isUtf8(codeset) && std::any_of(text.begin(), text.end(), mayCompose)) {
    composed = composedFor(text, codeset);
    text = composed;
  }
  converter.run(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t), sizeof(wchar_t),
                out, true);
  return out;
}

std::wstring codePageToWide(std::string_view bytes, unsigned codePage) {
  std::wstring out;
  if (codePage == kUtf8CodePage) {
    if (!internal::decodeUtf8(bytes, out, false)) out.clear();
    return out;
  }
  Converter converter("WCHAR_T", codesetOf(codePage));
  std::string raw;
  if (!converter.valid() || !converter.run(bytes.data(), bytes.size(), 1, raw, false)) return out;
  out.resize(raw.size() / sizeof(wchar_t));
  std::memcpy(out.data(), raw.data(), out.size() * sizeof(wchar_t));
  return out;
}

std::string fileNameToNarrow(std::wstring_view fileName) {
  std::string out;
  if (internal::encodeUtf8(fileName, out)) return out;
  return wideToCodePage(fileName, kUtf8CodePage);
}

bool isAnsiLeadByte(unsigned c) { return doubleByteTables()->lead[c & 0xFF]; }

bool isAnsiTrailByte(unsigned c) { return doubleByteTables()->trail[c & 0xFF]; }

bool collationIsCodePointOrder() {
  // Only the process-wide locale is looked at; a thread with a locale of its own always collates.
  if (uselocale(locale_t(nullptr)) != LC_GLOBAL_LOCALE) return false;
  const char* name = setlocale(LC_COLLATE, nullptr);
  return name && (std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0 ||
                  strncasecmp(name, "C.UTF", 5) == 0);
}

CharDirection charDirection(wchar_t c) {
  const FriBidiCharType type = fribidi_get_bidi_type(static_cast<FriBidiChar>(c));
  if (type == FRIBIDI_TYPE_LTR) return CharDirection::LeftToRight;
  if (type == FRIBIDI_TYPE_RTL || type == FRIBIDI_TYPE_AL) return CharDirection::RightToLeft;
  return CharDirection::Neutral;
}

std::string formatLocalTime(const char* format) {
  const std::time_t now = std::time(nullptr);
  std::tm local {};
  char buffer[256];
  if (!localtime_r(&now, &local)) return std::string();
  return std::string(buffer, UserLocale::current()->formatTime(buffer, sizeof buffer, format, local));
}

NumberFormatInfo userNumberFormat() {
  const std::shared_ptr<const UserLocale> locale = UserLocale::current();
  NumberFormatInfo info;
  info.decimalSeparator = localeText(*locale, RADIXCHAR);
  info.thousandSeparator = localeText(*locale, THOUSEP);
  info.grouping = windowsGrouping(locale->info(GROUPING));
  return info;
}

namespace {

// A locale a switch made, freed once the thread neither uses it nor may go back to it.
struct OwnedLocale {
  explicit OwnedLocale(locale_t made) : locale(made) {}
  ~OwnedLocale() { freelocale(locale); }
  OwnedLocale(const OwnedLocale&) = delete;
  OwnedLocale& operator=(const OwnedLocale&) = delete;

  locale_t locale;
};

// The locale a switch made that this thread uses now, if it uses one.
thread_local std::shared_ptr<OwnedLocale> ownedInUse;

std::string localeName(locale_t locale) {
  if (locale == LC_GLOBAL_LOCALE) return setlocale(LC_CTYPE, nullptr);
  return nl_langinfo_l(_NL_LOCALE_NAME(LC_CTYPE), locale);
}

}  // namespace

struct ThreadLocaleSwitch::State {
  locale_t previous;
  std::shared_ptr<OwnedLocale> previousOwned;  // when `previous` is one an earlier switch made
  std::shared_ptr<OwnedLocale> mine;
};

ThreadLocaleSwitch::ThreadLocaleSwitch(const std::string& name) {
  const locale_t made = newlocale(LC_ALL_MASK, name.c_str(), locale_t(nullptr));
  if (!made) return;
  auto mine = std::make_shared<OwnedLocale>(made);
  const locale_t previous = uselocale(made);
  std::shared_ptr<OwnedLocale> previousOwned =
      ownedInUse && ownedInUse->locale == previous ? ownedInUse : nullptr;
  ownedInUse = mine;
  m_state = std::make_unique<State>(State{previous, std::move(previousOwned), std::move(mine)});
}

ThreadLocaleSwitch::~ThreadLocaleSwitch() { restore(); }

bool ThreadLocaleSwitch::switched() const { return m_state != nullptr; }

std::string ThreadLocaleSwitch::previousName() const { return m_state ? localeName(m_state->previous) : ""; }

// A switch undone out of order leaves the thread to the later one.
void ThreadLocaleSwitch::restore() {
  if (!m_state) return;
  if (uselocale(locale_t(nullptr)) == m_state->mine->locale) {
    uselocale(m_state->previous);
    ownedInUse = m_state->previousOwned;
  }
  m_state.reset();
}

}  // namespace ut::platform
