// CSV lines from arbitrary text: parseCSV agrees with a plain character-by-character reading of the
// same rules, and fields written by CsvWriter read back through parseCSV as they were, except where a
// field has a quote directly before the delimiter, which the reader takes as two toggles by design.

#include "fuzz_wide_text.h"
#include "ut_csv.h"
#include "ut_file.h"
#include "ut_string.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// The rules one character at a time, as slow and plain as they come.
OdArray<OdString> referenceFields(const std::wstring& line, wchar_t delimiter) {
  OdArray<OdString> fields;
  OdString field;
  bool inQuotes = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const wchar_t c = line[i];
    if (c == L'"' && i + 2 < line.size() && line[i + 1] == L'"' && line[i + 2] != delimiter) {
      field += L'"';
      ++i;
    } else if (c == L'"') {
      inQuotes = !inQuotes;
    } else if (c == delimiter && !inQuotes) {
      fields.append(field);
      field.empty();
    } else {
      field += c;
    }
  }
  fields.append(field);
  return fields;
}

// Removed when the fuzzer exits.
struct ScratchFile {
  ~ScratchFile() { std::remove(name.c_str()); }
  std::string name = "/tmp/fuzz_csv_" + std::to_string(getpid()) + ".csv";
};

bool readBack(const OdArray<OdString>& fields, wchar_t delimiter, ut::CsvWriter::EQuoting quoting) {
  static const ScratchFile scratch;
  const OdString path(ut::s2ws(scratch.name));
  ut::CsvWriter writer(path);
  writer.setDelimiter(delimiter);
  writer.setQuoting(quoting, L'"', 0);
  try {
    writer.write(fields);
  } catch (const ut::CsvError&) {
    return false;
  }
  writer.close();
  std::string bytes;
  require(ut::readEntireFile(path, bytes) && !bytes.empty() && bytes.back() == '\n');
  bytes.pop_back();
  OdArray<OdString> parsed;
  ut::parseCSV(parsed, OdString(ut::s2ws(bytes)), delimiter);
  require(parsed == fields);
  return true;
}

bool hasSurrogate(const std::wstring& text) {
  return std::any_of(text.begin(), text.end(), [](wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; });
}

}  // namespace

// The first byte picks the delimiter (low two bits) and the writer's quoting (bit 2); the rest is the
// line, and also the row to write, its fields parted by U+0001.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static constexpr wchar_t kDelimiters[] = {L',', L';', L'\t', L'"'};
  const wchar_t delimiter = kDelimiters[data[0] & 3];
  const std::wstring line = wideTextFromBytes(data + 1, size - 1);

  OdArray<OdString> fields;
  ut::parseCSV(fields, line, delimiter);
  require(fields == referenceFields(line, delimiter));

  if (delimiter == L'"' || line.find(std::wstring{L'"', delimiter}) != std::wstring::npos) return 0;
  OdArray<OdString> row;
  ut::splitByChar(row, line, L'\x01', true);
  const auto quoting = data[0] & 4 ? ut::CsvWriter::QuoteAll : ut::CsvWriter::QuoteMinimal;
  require(readBack(row, delimiter, quoting) != hasSurrogate(line));
  return 0;
}
