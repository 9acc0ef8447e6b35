#include "ut_csv.h"

#include "ut_file.h"
#include "core/ut_assert_p.h"
#include "ut_string.h"
#include "ut_text_file.h"
#include "core/ut_utf8.h"
#include "core/ut_wx.h"

#include <algorithm>
#include <string_view>

namespace ut {

// --- Reading -------------------------------------------------------------------------------------------

namespace {

// Splits one line. A field without quotes is copied straight from the line; only a field that holds a
// quote is assembled in the buffer, which keeps its capacity from field to field and line to line.
class LineParser {
 public:
  void parse(OdArray<OdString>& fields, std::wstring_view line, wchar_t delimiter) {
    const wchar_t* const end = line.data() + line.size();
    const wchar_t* run = line.data();  // start of the characters not yet taken into the field
    bool inQuotes = false;
    for (const wchar_t* p = run; p != end; ++p) {
      if (*p == L'"') {
        m_field.append(run, p);
        m_assembled = true;
        if (end - p > 2 && p[1] == L'"' && p[2] != delimiter) {
          m_field += L'"';
          ++p;
        } else {
          inQuotes = !inQuotes;
        }
        run = p + 1;
      } else if (*p == delimiter && !inQuotes) {
        emit(fields, run, p);
        run = p + 1;
      }
    }
    emit(fields, run, end);
  }

 private:
  void emit(OdArray<OdString>& fields, const wchar_t* run, const wchar_t* end) {
    if (!m_assembled) {
      fields.append(OdString(std::wstring_view(run, static_cast<size_t>(end - run))));
      return;
    }
    m_field.append(run, end);
    fields.append(OdString(std::wstring_view(m_field)));
    m_field.clear();
    m_assembled = false;
  }

  std::wstring m_field;
  bool m_assembled = false;
};

}  // namespace

void parseCSV(OdArray<OdString>& fields, const OdString& line, wchar_t delimiter) {
  LineParser().parse(fields, line.view(), delimiter);
}

void readCSV(OdArray<OdArray<OdString>>& table, TextFile& file, wchar_t delimiter) {
  const size_t count = file.getLineCount();
  table.reserve(table.size() + static_cast<OdArray<OdString>::size_type>(count));
  LineParser parser;
  for (size_t i = 0; i < count; ++i) {
    OdArray<OdString> row;
    // Rows of a table mostly have the same width.
    row.reserve(table.isEmpty() ? 0 : table.last().size());
    parser.parse(row, file.getLine(i).view(), delimiter);
    table.append(std::move(row));
  }
}

// A missing file is no news; one that is there and yet cannot be read is.
void readCSV(OdArray<OdArray<OdString>>& table, const OdString& path, wchar_t delimiter) {
  TextFile file(path);
  if (!file.open()) {
    if (accessFile(path, eAccessExists)) {
      internal::report("ut::readCSV", "Cannot read \"" + std::string(internal::toWx(path).utf8_str()) +
                                          "\" as text in any encoding");
    }
    return;
  }
  readCSV(table, file, delimiter);
  file.restoreLocale();
  file.close();
}

// --- Writing -------------------------------------------------------------------------------------------

CsvWriter::CsvWriter() = default;

CsvWriter::CsvWriter(const OdString& path) { open(path); }

CsvWriter::~CsvWriter() { close(); }

void CsvWriter::open(const OdString& path) {
  close();
  m_stream.open(convFileNameToMB(path.c_str()), std::ios::out | std::ios::trunc);
}

void CsvWriter::close() {
  if (m_stream.is_open()) m_stream.close();
}

bool CsvWriter::isOpen() const { return m_stream.is_open(); }

bool CsvWriter::good() const { return m_stream.is_open() && m_stream.good(); }

void CsvWriter::setQuoting(EQuoting quoting, wchar_t quoteChar, wchar_t escapeChar) {
  m_quoting = quoting;
  m_quoteChar = quoteChar;
  m_escapeChar = escapeChar;
}

namespace {

// wchar_t is signed; a negative value is no character at all, not ASCII.
bool isAscii(wchar_t c) { return static_cast<char32_t>(c) < 0x80; }

void appendAscii(std::string& out, std::wstring_view text) {
  const size_t at = out.size();
  out.resize(at + text.size());
  std::transform(text.begin(), text.end(), out.begin() + static_cast<std::ptrdiff_t>(at),
                 [](wchar_t c) { return static_cast<char>(c); });
}

// Throws for a character that UTF-8 cannot carry: a surrogate or anything above U+10FFFF.
void appendChecked(std::string& out, wchar_t c) {
  if (isAscii(c)) {
    out += static_cast<char>(c);
  } else if (!internal::encodeUtf8(std::wstring_view(&c, 1), out)) {
    throw CsvError("bad conversion");
  }
}

}  // namespace

// Escapes and encodes in one walk: runs of plain ASCII are narrowed in bulk, everything else goes one
// character at a time.
std::string CsvWriter::escape(const OdString& field) const {
  const std::wstring_view text = field.view();
  std::string out;
  bool needsQuotes = false;
  size_t run = 0;  // start of the plain characters not yet copied
  for (size_t i = 0; i < text.size(); ++i) {
    const wchar_t c = text[i];
    const bool breaksField = c == m_delimiter || c == L'\r' || c == L'\n';
    const bool isQuote = c == m_quoteChar && m_quoting != QuoteNone;
    if (isAscii(c) && !breaksField && !isQuote) continue;
    appendAscii(out, text.substr(run, i - run));
    run = i + 1;
    if (breaksField && m_quoting == QuoteNone) {
      if (!m_escapeChar) throw CsvError("No quoting and no escaping");
      appendChecked(out, m_escapeChar);
    } else if (breaksField) {
      needsQuotes = true;
    } else if (isQuote) {
      needsQuotes = true;
      appendChecked(out, m_escapeChar ? m_escapeChar : m_quoteChar);
    }
    appendChecked(out, c);
  }
  appendAscii(out, text.substr(run));
  if (m_quoting == QuoteAll || needsQuotes) {
    std::string quote;
    appendChecked(quote, m_quoteChar);
    out.insert(0, quote).append(quote);
  }
  return out;
}

void CsvWriter::write(const OdArray<OdString>& row) {
  if (row.isEmpty()) return;
  if (!isOpen()) {
    internal::report("ut::CsvWriter::write", "The writer is not open; the row is lost");
    return;
  }
  std::string delimiter;
  appendChecked(delimiter, m_delimiter);
  std::string line;
  try {
    for (unsigned i = 0; i < row.size(); ++i) {
      const std::string field = escape(row[i]);
      if (i) line += delimiter;
      line += field;
    }
  } catch (const CsvError&) {
    // The fields before the one that failed still reach the file.
    m_stream.write(line.data(), static_cast<std::streamsize>(line.size()));
    throw;
  }
  line += '\n';
  m_stream.write(line.data(), static_cast<std::streamsize>(line.size()));
  m_stream.flush();
  if (!m_stream.good()) internal::report("ut::CsvWriter::write", "The file refused the row");
}

}  // namespace ut
