#ifndef QEL_FILES_TEXTFILE_H
#define QEL_FILES_TEXTFILE_H
//===----------------------------------------------------------------------===//
// Reads a text file line by line through a buffer of fixed size. CR, LF and CR LF
// all end a line; the bytes of a line are given as they stand.
//
//   buffer    taken lines | the next line CR LF part of one | room
//                         ^ offset                          ^ fill     ^ bufferSize
//
// A line longer than the buffer is delivered cut to the buffer's size, and its
// rest is dropped. A last line needs no ending.
//
// COST: what remains of a buffer is moved only to read on behind it, so a file
// costs its size.
// ERRORS: by result. Causes are the log lines of qelFile.
// OWNERSHIP: the object owns its file and buffer. A copy shares both, and only
// one of the two may be destroyed.
// THREADS: no locks; an object is for one thread at a time.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/containers/DataBuffer.h>
#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/files/File.h>

class QEL_EXPORT qelTextFile {
public:
  // Opens the file for reading; see IsOpened. The longest line delivered has bufferSize bytes; with
  // 0 there are none.
  qelTextFile(const char* name, size_t bufferSize);
  ~qelTextFile() = default;
  qelTextFile(const qelTextFile&) = default;
  qelTextFile& operator=(const qelTextFile&) = default;

  bool IsOpened() const;

  // Stores the next line, without its ending. False at the end of the file, on a read failure, and if
  // the file is not open; line is then left alone. After a failure it can be tried again.
  bool NextLine(qelCString& line);

  // Starts anew from the first line.
  void Rewind();

private:
  bool Refill();
  size_t FindEnd() const;
  void TakeEnding(size_t length);

  qelFile m_file;         // open for reading
  qelDataBuffer m_buffer; // the bytes read ahead
  size_t m_bufferSize;    // size of the buffer, also the longest line delivered
  size_t m_fill;          // bytes in the buffer, from its start
  bool m_pendingLF; // the last line ended in CR at the buffer's end: an LF first is its ending
  bool m_skipping;  // a line was delivered cut: what remains of it is to be dropped
  size_t m_offset;  // of these bytes, those that have been taken
};

#endif
