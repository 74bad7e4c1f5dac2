#ifndef EXAMPLES_MEDIAQUERY_CATALOGUE_H
#define EXAMPLES_MEDIAQUERY_CATALOGUE_H
//===----------------------------------------------------------------------===//
// The catalogue: a file with one media property list a line, made by --store and
// searched by --from.
//
//   {"ti":"The Sea","an":"Harbour",...,"fp":"\/tmp\/media\/Harbour\/The Sea.png",}
//
// Keys: those of MediaItem's table, "ti", "cr", "ge", "an" as the library has them, and
//   "fp"  the file's path      "da"  seconds since 1970, a point, six digits
// All values are texts, numbers too: the library's reader keeps 32 bits of a number.
// In them "%" and two digits stand for a control character, for "%" itself and for a
// byte that is not part of valid UTF-8. Properties without a value are left out. The
// order of the keys means nothing, and keys that are not known are read over.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include <qel/media/MediaInfo.h>

namespace mediaquery {

// Lines of more bytes than this are not kept in memory, and count as malformed.
constexpr size_t kMaxCatalogueLine = 1 << 20;

// The item as a line, without its end.
std::string FormatCatalogueLine(const qelMediaInfo& item);

// Fills in an empty item from a line without its end. False: *fault says what is wrong with the line.
bool ParseCatalogueLine(const std::string& line, qelMediaInfo* item, std::string* fault);

// Writes FILE.tmp, which becomes FILE at the end. Without a Finish that succeeds, the destructor
// takes FILE.tmp away, and FILE stays as it was.
class CatalogueWriter {
public:
  CatalogueWriter() = default;
  ~CatalogueWriter();
  CatalogueWriter(const CatalogueWriter&) = delete;
  CatalogueWriter& operator=(const CatalogueWriter&) = delete;

  // All three: false, and *fault says why, with the file's name.
  bool Open(const std::string& name, std::string* fault);
  bool Add(const qelMediaInfo& item, std::string* fault);
  bool Finish(std::string* fault);

private:
  bool FailToWrite(std::string* fault);

  std::string m_name;
  std::string m_temporary;
  std::FILE* m_file = nullptr; // open from Open to Finish
  uint64_t m_lines = 0;
};

// Reads a catalogue line by line.
class CatalogueReader {
public:
  enum Outcome { kItem, kMalformed, kEnd, kUnreadable };

  CatalogueReader() = default;
  ~CatalogueReader();
  CatalogueReader(const CatalogueReader&) = delete;
  CatalogueReader& operator=(const CatalogueReader&) = delete;

  // False: *fault says why, with the file's name.
  bool Open(const std::string& name, std::string* fault);

  // Fills in an empty item from the next line. Malformed or unreadable: *fault says why, with the
  // file's name and the line's number. After a malformed line the next one can be read.
  Outcome Next(qelMediaInfo* item, std::string* fault);

private:
  enum LineEnd { kEnded, kCut, kTooLong, kNoLine };

  LineEnd ReadLine();
  int ReadByte();

  std::string m_name;
  std::string m_line; // up to kMaxCatalogueLine bytes
  std::FILE* m_file = nullptr;
  uint64_t m_number = 0; // of the line in m_line, from 1
  size_t m_at = 0;       // next byte of the buffer
  size_t m_filled = 0;
  char m_buffer[4096];
};

} // namespace mediaquery

#endif
