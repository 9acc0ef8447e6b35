// CSV files: tables read line by line into arrays of fields, and written row by row. Reading and writing
// follow different rules on purpose: the reader knows only the double quote, which toggles quoting
// wherever it stands; the writer has a configurable delimiter, quote character, escape character and
// quoting policy, and writes UTF-8 without a byte-order mark.
//
//   OdArray<OdString> fields;
//   ut::parseCSV(fields, L"a,\"x,y\",", L',');       // fields: "a", "x,y", ""
//   ut::parseCSV(fields, L"a,\"\",b", L',');         // appends "a", "", "b"
//
//   OdArray<OdArray<OdString>> table;
//   ut::readCSV(table, L"/tmp/parts.csv", L';');     // one row per line, empty lines included
//
//   ut::CsvWriter writer(L"/tmp/out.csv");
//   writer.write({L"id", L"name, first", L"6\" pipe"});  // id,"name, first","6"" pipe"
//   writer.setQuoting(ut::CsvWriter::QuoteNone, L'"', L'\\');
//   writer.write({L"b,c"});                              // b\,c
//
// Everything runs on the caller's thread; the functions keep no state, and a CsvWriter belongs to one
// thread at a time.

#ifndef QX_UT_CSV_H
#define QX_UT_CSV_H

#include "OdArray.h"
#include "OdString.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace ut {

class TextFile;

// Appends the fields of one line. A double quote toggles quoting and is dropped; two double quotes in a
// row stand for one, except directly before the delimiter or at the end of the line, where they are two
// toggles (so `""` is an empty field). A trailing delimiter gives a trailing empty field, and an empty
// line one empty field.
void parseCSV(OdArray<OdString>& fields, const OdString& line, wchar_t delimiter);

// Appends one row per line of the file at `path`, read as a TextFile in whatever encoding it has. A file
// that cannot be opened leaves `table` unchanged.
void readCSV(OdArray<OdArray<OdString>>& table, const OdString& path, wchar_t delimiter);
// Appends one row per line of an opened `file`, from the first to the last.
void readCSV(OdArray<OdArray<OdString>>& table, TextFile& file, wchar_t delimiter);

// Thrown by CsvWriter::write for a field it cannot write.
class CsvError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes rows to a file in UTF-8, each ended by a line feed and flushed.
class CsvWriter {
 public:
  enum EQuoting {
    QuoteNone = 0,     // never quote; a delimiter, CR or LF is preceded by the escape character
    QuoteMinimal = 1,  // quote a field holding the delimiter, CR, LF or the quote character
    QuoteAll = 2,      // quote every field
  };

  CsvWriter();
  explicit CsvWriter(const OdString& path);
  ~CsvWriter();
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;

  // Opens (or creates) the file for writing and empties it; a writer already open closes first. Whether
  // it worked shows in isOpen().
  void open(const OdString& path);
  void close();
  bool isOpen() const;
  // False once the writer is closed or a write has failed.
  bool good() const;

  // Writes one row; an empty row writes nothing, not even a line end. Throws CsvError with "No quoting
  // and no escaping" for a field holding the delimiter, CR or LF under QuoteNone without an escape
  // character, and with "bad conversion" for a character UTF-8 cannot carry (a lone surrogate); the
  // row's fields before that one are written already. A writer that is not open, or a file that refuses
  // the bytes, is reported through the assertion callbacks as "ut::CsvWriter::write".
  void write(const OdArray<OdString>& row);

  wchar_t delimiter() const { return m_delimiter; }
  EQuoting quoting() const { return m_quoting; }
  wchar_t quoteChar() const { return m_quoteChar; }
  // 0 when there is none.
  wchar_t escapeChar() const { return m_escapeChar; }
  void setDelimiter(wchar_t delimiter) { m_delimiter = delimiter; }
  void setQuoting(EQuoting quoting, wchar_t quoteChar, wchar_t escapeChar);

 private:
  // The field as written: escaped, quoted as the policy asks, in UTF-8.
  std::string escape(const OdString& field) const;

  wchar_t m_delimiter = L',';
  EQuoting m_quoting = QuoteMinimal;
  wchar_t m_quoteChar = L'"';
  wchar_t m_escapeChar = 0;
  std::ofstream m_stream;
};

}  // namespace ut

#endif
