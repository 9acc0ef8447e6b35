// Text files: reading a file's lines whatever its encoding. `TextFile` looks for a byte-order mark, then
// tests the bytes for UTF-8, and reads them in the encoding it found; a file that is neither is read in
// the system's narrow code page, and when even that fails, once more in the user's own locale.
//
//   OdArray<OdString> lines;
//   if (!ut::readTextFileContent(lines, L"/opt/veltocad/support/fonts.txt")) ...  // cannot be read
//
//   int encoding = 0;
//   OdArray<OdString> all = ut::readAllLinesFromFile(L"notes.txt", &encoding);  // throws when unreadable
//   // encoding: 0 no byte-order mark, 11 UTF-8, 22/23 UTF-16 LE/BE, 32/33 UTF-32 LE/BE
//
//   ut::TextFile file(L"table.csv");
//   if (file.open())
//     for (OdString line = file.getFirstLine(); !file.eof(); line = file.getNextLine()) ...
//
// A line ends at LF, CR LF or CR; the last line needs no end, and a final line end adds no empty line.
//
// A TextFile belongs to one thread at a time. The locale fallback changes the locale of the calling
// thread only (never the process's), and the readers put it back before they return.

#ifndef QX_UT_TEXT_FILE_H
#define QX_UT_TEXT_FILE_H

#include "OdArray.h"
#include "OdString.h"

#include <memory>
#include <stdexcept>
#include <string_view>

class wxFile;
class wxMBConv;
class wxTextBuffer;

namespace ut {

namespace internal {
class LineSink;
}

namespace platform {
class ThreadLocaleSwitch;
}

class TextFile {
 public:
  // The byte-order marks open() tells apart; the numbers are wxWidgets' wxBOM values.
  enum EByteOrderMark {
    eBomNone = 0,
    eBomUtf32BE = 1,
    eBomUtf32LE = 2,
    eBomUtf16BE = 3,
    eBomUtf16LE = 4,
    eBomUtf8 = 5,
  };

  explicit TextFile(const OdString& path);
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  // Closes the file and restores the thread's locale when open() changed it.
  ~TextFile();

  // Reads the file's lines. `conv` reads a file that has no byte-order mark and is not UTF-8; null means
  // the system's narrow code page. False when the file cannot be read or decoded.
  bool open(const wxMBConv* conv = nullptr);
  bool close();
  bool isOpened() const;
  const OdString& path() const { return m_path; }
  // The byte-order mark open() found (EByteOrderMark).
  int encoding() const { return m_byteOrderMark; }

  size_t getLineCount() const;
  OdString getLine(size_t index) const;
  // Iteration: eof() turns true once getNextLine() has passed the last line.
  OdString getFirstLine();
  OdString getNextLine();
  bool eof() const;

  // The name of the locale the thread used before open() fell back to the user's locale; empty when
  // open() left the locale alone.
  const OdString& savedLocale() const { return m_savedLocale; }
  // Returns the thread to the saved locale and forgets it.
  void restoreLocale();

 private:
  friend bool readTextFileContent(OdArray<OdString>& lines, const OdString& file);
  friend OdArray<OdString> readAllLinesFromFile(const OdString& file, int* encoding);
  bool read(const wxMBConv* conv, internal::LineSink& sink);
  bool decode(std::string_view text, const wxMBConv* conv, internal::LineSink& sink);
  // The whole file, byte-order mark included, as the user's locale reads it.
  bool decodeInUserLocale(std::string_view bytes, internal::LineSink& sink);

  std::unique_ptr<wxTextBuffer> m_lines;
  OdString m_savedLocale;
  std::unique_ptr<platform::ThreadLocaleSwitch> m_localeSwitch;  // gives the thread its locale back
  int m_byteOrderMark = eBomNone;
  OdString m_path;
};

// Thrown by readAllLinesFromFile for a file that cannot be read.
class TextFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Appends the file's lines to `lines`; false (and nothing appended) when it cannot be opened.
bool readTextFileContent(OdArray<OdString>& lines, const OdString& file);
// The file's lines; `encoding`, when given, receives 0 (no byte-order mark), 11 (UTF-8), 22 or 23 (UTF-16
// little or big endian), 32 or 33 (UTF-32 little or big endian). Throws TextFileError with "Unable to
// open input file '<file>'" when the file cannot be opened.
OdArray<OdString> readAllLinesFromFile(const OdString& file, int* encoding = nullptr);

// Whether two text files hold the same lines, ignoring case (line ends and encodings may differ); false
// when either cannot be read.
bool filesAreEqualNoCase(const OdString& a, const OdString& b);
// Whether two text files hold the same lines in any order.
bool filesAreEqualAfterSort(const OdString& a, const OdString& b);

// Whether the whole file, from its start, is well-formed UTF-8: no overlong forms, no surrogates, nothing
// above U+10FFFF, no sequence cut off at the end. The file's position is left at its end.
bool isValidUTF8Encoding(wxFile& file);
bool isValidUTF8Encoding(unsigned char* bytes, unsigned long long size);

}  // namespace ut

#endif
