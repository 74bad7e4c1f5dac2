#ifndef QEL_FILES_FILEHELPER_H
#define QEL_FILES_FILEHELPER_H
//===----------------------------------------------------------------------===//
// Whole files at once.
//
// ERRORS: a qelError that names the file.
// THREADS: any; there is no state.
//===----------------------------------------------------------------------===//

#include <qel/core/Error.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelDataBuffer;
class qelPathName;

// Flag of qelFileHelper::LoadInBuffer: a zero byte behind the data, which counts in the buffer's size.
constexpr int qelLoadTerminated = 0x01;

class QEL_EXPORT qelFileHelper {
public:
  // Replaces what the buffer holds by the content of the file. On an error the buffer is left alone.
  // A file of more than maxSize bytes, or of 2 GiB and more, is too large, with code -1; a file that
  // can't be opened or read gives its status (-3 for a missing one), -1 if there is none.
  // INTENDED: if there is no memory for the file, the result is no error, and the buffer is left
  // alone: compare its size. Pinned by FileHelperLoadInBuffer.IsSilentWithoutMemory.
  static qelError LoadInBuffer(const qelPathName& path, qelDataBuffer& buffer, int flags,
                               qelULong maxSize);
};

#endif
