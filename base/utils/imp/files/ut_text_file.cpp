#include "ut_text_file.h"

#include "core/ut_nocase.h"
#include "core/ut_utf8.h"
#include "core/ut_wx.h"
#include "platform/text.h"
#include "ut_file.h"

#include <wx/file.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/strconv.h>
#include <wx/textbuf.h>
// After textbuf.h, which it needs but does not include.
#include <wx/memtext.h>

#include <cstring>
#include <cwchar>
#include <string_view>
#include <vector>

namespace ut {

namespace internal {

// Where TextFile's reading puts the lines it finds; `type` is the wxTextFileType of the line's end.
class LineSink {
 public:
  virtual ~LineSink() = default;
  // `line` is well-formed UTF-8.
  virtual void addUtf8(std::string_view line, int type) = 0;
  virtual void addWide(std::wstring_view line, int type) = 0;
};

}  // namespace internal

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

struct MarkBytes {
  std::string_view bytes;
  TextFile::EByteOrderMark kind;
};

// The longer UTF-32 little-endian mark comes before the UTF-16 one it begins with.
constexpr MarkBytes kMarks[] = {
    {{"\x00\x00\xFE\xFF", 4}, TextFile::eBomUtf32BE},
    {{"\xFF\xFE\x00\x00", 4}, TextFile::eBomUtf32LE},
    {"\xFE\xFF", TextFile::eBomUtf16BE},
    {"\xFF\xFE", TextFile::eBomUtf16LE},
    {kUtf8Mark, TextFile::eBomUtf8},
};

const MarkBytes* byteOrderMarkOf(std::string_view bytes) {
  for (const MarkBytes& mark : kMarks) {
    if (bytes.starts_with(mark.bytes)) return &mark;
  }
  return nullptr;
}

// The end of the line that starts at `p`: the first CR or LF, or `end`.
const char* lineEnd(const char* p, const char* end) {
  const void* lf = std::memchr(p, '\n', static_cast<size_t>(end - p));
  const char* limit = lf ? static_cast<const char*>(lf) : end;
  const void* cr = std::memchr(p, '\r', static_cast<size_t>(limit - p));
  return cr ? static_cast<const char*>(cr) : limit;
}

const wchar_t* lineEnd(const wchar_t* p, const wchar_t* end) {
  const wchar_t* lf = std::wmemchr(p, L'\n', static_cast<size_t>(end - p));
  const wchar_t* limit = lf ? lf : end;
  const wchar_t* cr = std::wmemchr(p, L'\r', static_cast<size_t>(limit - p));
  return cr ? cr : limit;
}

// Calls `add(line, type)` for each line of [begin, end), in wxWidgets' reading of line ends.
template <typename Char, typename Add>
void forEachLine(const Char* begin, const Char* end, Add add) {
  for (const Char* p = begin; p < end;) {
    const Char* stop = lineEnd(p, end);
    std::basic_string_view<Char> line(p, static_cast<size_t>(stop - p));
    if (stop == end) {
      add(line, wxTextFileType_None);
      return;
    }
    const bool crlf = *stop == '\r' && stop + 1 < end && stop[1] == '\n';
    add(line, crlf ? wxTextFileType_Dos : *stop == '\r' ? wxTextFileType_Mac : wxTextFileType_Unix);
    p = stop + (crlf ? 2 : 1);
  }
}

bool addConvertedLines(std::string_view bytes, const wxMBConv& conv, internal::LineSink& sink) {
  if (bytes.empty()) return true;
  size_t length = 0;
  const wxWCharBuffer text = conv.cMB2WC(bytes.data(), bytes.size(), &length);
  if (!text.data() || length == wxCONV_FAILED) return false;
  forEachLine(text.data(), text.data() + length,
              [&](std::wstring_view line, wxTextFileType type) { sink.addWide(line, type); });
  return true;
}

// UTF-8 already known to be well-formed, decoded line by line so that the whole text never exists twice.
void addUtf8Lines(std::string_view bytes, internal::LineSink& sink) {
  forEachLine(bytes.data(), bytes.data() + bytes.size(),
              [&](std::string_view line, wxTextFileType type) { sink.addUtf8(line, type); });
}

// Lines kept in the TextFile's own text buffer.
class BufferSink final : public internal::LineSink {
 public:
  explicit BufferSink(wxTextBuffer& lines) : m_lines(lines) {}
  void addUtf8(std::string_view line, int type) override {
    m_scratch.clear();
    (void)internal::decodeUtf8(line, m_scratch, true);
    addWide(m_scratch, type);
  }
  void addWide(std::wstring_view line, int type) override {
    m_lines.AddLine(wxString(line.data(), line.size()), static_cast<wxTextFileType>(type));
  }

 private:
  wxTextBuffer& m_lines;
  std::wstring m_scratch;
};

// Lines appended to the caller's array straight away, for the readers that hand lines back.
class ArraySink final : public internal::LineSink {
 public:
  explicit ArraySink(OdArray<OdString>& lines) : m_lines(lines) {}
  void addUtf8(std::string_view line, int) override {
    std::wstring text;
    (void)internal::decodeUtf8(line, text, true);
    m_lines.append(OdString(std::move(text)));
  }
  void addWide(std::wstring_view line, int) override { m_lines.append(OdString(line)); }

 private:
  OdArray<OdString>& m_lines;
};

const wxMBConv& unicodeConverter(TextFile::EByteOrderMark mark) {
  static const wxMBConvUTF32BE utf32be;
  static const wxMBConvUTF32LE utf32le;
  static const wxMBConvUTF16BE utf16be;
  static const wxMBConvUTF16LE utf16le;
  switch (mark) {
    case TextFile::eBomUtf32BE:
      return utf32be;
    case TextFile::eBomUtf32LE:
      return utf32le;
    case TextFile::eBomUtf16BE:
      return utf16be;
    default:
      return utf16le;
  }
}

std::unique_ptr<wxTextBuffer> emptyLineBuffer(const OdString& name) {
  auto lines = std::make_unique<wxMemoryText>(internal::toWx(name));
  lines->Create();
  return lines;
}

// The user's language, by its canonical name ("de_DE"); empty when the system does not tell.
std::string userLanguageName() {
  const wxLogNull quiet;
  const int language = wxLocale::GetSystemLanguage();
  if (language == wxLANGUAGE_UNKNOWN || language == wxLANGUAGE_DEFAULT) return std::string();
  return std::string(wxLocale::GetLanguageCanonicalName(language).ToAscii());
}

int encodingCode(int byteOrderMark) {
  static constexpr int kCodes[] = {0, 33, 32, 23, 22, 11};
  return byteOrderMark >= 0 && byteOrderMark <= TextFile::eBomUtf8 ? kCodes[byteOrderMark] : 0;
}

}  // namespace

// --- TextFile ------------------------------------------------------------------------------------------

TextFile::TextFile(const OdString& path) : m_path(path) {}

TextFile::~TextFile() { restoreLocale(); }

bool TextFile::open(const wxMBConv* conv) {
  close();
  m_lines = emptyLineBuffer(m_path);
  BufferSink sink(*m_lines);
  if (read(conv, sink)) return true;
  m_lines.reset();
  return false;
}

// The file is read once; the byte-order mark, the UTF-8 test and the decoding all work on those bytes.
// Every attempt that fails does so before it hands a line to `sink`.
bool TextFile::read(const wxMBConv* conv, internal::LineSink& sink) {
  std::string bytes;
  if (!readEntireFile(m_path, bytes)) return false;
  const MarkBytes* mark = byteOrderMarkOf(bytes);
  m_byteOrderMark = mark ? mark->kind : eBomNone;
  const std::string_view text = std::string_view(bytes).substr(mark ? mark->bytes.size() : 0);
  return decode(text, conv, sink) || decodeInUserLocale(bytes, sink);
}

bool TextFile::decode(std::string_view text, const wxMBConv* conv, internal::LineSink& sink) {
  if (m_byteOrderMark != eBomNone && m_byteOrderMark != eBomUtf8) {
    return addConvertedLines(text, unicodeConverter(static_cast<EByteOrderMark>(m_byteOrderMark)), sink);
  }
  if (internal::isValidUtf8(text)) {
    addUtf8Lines(text, sink);
    return true;
  }
  return m_byteOrderMark == eBomNone && addConvertedLines(text, conv ? *conv : wxConvLibc, sink);
}

bool TextFile::decodeInUserLocale(std::string_view bytes, internal::LineSink& sink) {
  auto change = std::make_unique<platform::ThreadLocaleSwitch>(userLanguageName());
  if (!change->switched()) change = std::make_unique<platform::ThreadLocaleSwitch>(std::string());
  if (!change->switched()) return false;
  m_savedLocale = OdString(platform::codePageToWide(change->previousName(), platform::kUtf8CodePage));
  m_localeSwitch = std::move(change);
  if (addConvertedLines(bytes, wxConvLibc, sink)) return true;
  restoreLocale();
  return false;
}

void TextFile::restoreLocale() {
  m_localeSwitch.reset();
  m_savedLocale.empty();
}

bool TextFile::close() {
  if (!m_lines) return false;
  m_lines.reset();
  return true;
}

bool TextFile::isOpened() const { return m_lines != nullptr; }

size_t TextFile::getLineCount() const { return m_lines ? m_lines->GetLineCount() : 0; }

OdString TextFile::getLine(size_t index) const {
  return index < getLineCount() ? internal::fromWx(m_lines->GetLine(index)) : OdString();
}

OdString TextFile::getFirstLine() { return m_lines ? internal::fromWx(m_lines->GetFirstLine()) : OdString(); }

OdString TextFile::getNextLine() {
  return m_lines && !m_lines->Eof() ? internal::fromWx(m_lines->GetNextLine()) : OdString();
}

bool TextFile::eof() const { return !m_lines || m_lines->Eof(); }

// --- Readers -------------------------------------------------------------------------------------------

// The readers decode straight into their array, without the TextFile's own buffer.
bool readTextFileContent(OdArray<OdString>& lines, const OdString& file) {
  TextFile text(file);
  ArraySink sink(lines);
  const bool read = text.read(nullptr, sink);
  text.restoreLocale();
  return read;
}

OdArray<OdString> readAllLinesFromFile(const OdString& file, int* encoding) {
  TextFile text(file);
  OdArray<OdString> lines;
  ArraySink sink(lines);
  const bool read = text.read(nullptr, sink);
  text.restoreLocale();
  if (!read) {
    throw TextFileError(std::string(
        wxString::Format("Unable to open input file '%ls'", internal::toWx(file).wc_str()).utf8_str()));
  }
  if (encoding) *encoding = encodingCode(text.encoding());
  return lines;
}

// --- Comparison ----------------------------------------------------------------------------------------

bool filesAreEqualNoCase(const OdString& a, const OdString& b) {
  OdArray<OdString> first, second;
  const auto sameNoCase = [](const OdString& x, const OdString& y) {
    return internal::equalNoCase(x.view(), y.view());
  };
  return readTextFileContent(first, a) && readTextFileContent(second, b) &&
         std::equal(first.begin(), first.end(), second.begin(), second.end(), sameNoCase);
}

bool filesAreEqualAfterSort(const OdString& a, const OdString& b) {
  OdArray<OdString> first, second;
  if (!readTextFileContent(first, a) || !readTextFileContent(second, b)) return false;
  std::sort(first.begin(), first.end());
  std::sort(second.begin(), second.end());
  return first == second;
}

// --- UTF-8 ---------------------------------------------------------------------------------------------

bool isValidUTF8Encoding(wxFile& file) {
  const wxLogNull quiet;
  if (!file.IsOpened() || file.Seek(0) == wxInvalidOffset) return false;
  std::vector<unsigned char> chunk(1 << 20);
  internal::Utf8Validator validator;
  for (;;) {
    const ssize_t count = file.Read(chunk.data(), chunk.size());
    if (count == wxInvalidOffset) return false;
    if (count == 0) return validator.finish();
    if (!validator.feed(chunk.data(), static_cast<size_t>(count))) return false;
  }
}

bool isValidUTF8Encoding(unsigned char* bytes, unsigned long long size) {
  if (!bytes) return size == 0;
  internal::Utf8Validator validator;
  return validator.feed(bytes, static_cast<size_t>(size)) && validator.finish();
}

}  // namespace ut
