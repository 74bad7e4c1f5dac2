#include <qel/files/FileHelper.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <qel/containers/DataBuffer.h>
#include <qel/files/File.h>
#include <qel/files/PathName.h>
#include <qel/multiplatform/qelFilePrivate.h>

// An error with the file's status, -1 if it has none. The format takes the file's name.
static qelError FileError(const qelFile& file, const char* format, const qelCString& name) {
  const int status = file.Error() ? file.GetErrorCode() : qelFileErrorGeneric;
  return qelError(status, qelCString::Format(format, name.c_str()));
}

qelError qelFileHelper::LoadInBuffer(const qelPathName& path, qelDataBuffer& buffer, int flags,
                                     qelULong maxSize) {
  const qelCString name = path.GetFullPath();
  qelFile file(name.c_str(), qelFileModeRead);
  if (!file.IsOpened())
    return FileError(file, "Unable to open file '%s'", name);
  const int64_t length = file.Length();
  if (length < 0 || length > INT32_MAX || length > static_cast<int64_t>(maxSize))
    return qelError(-1, qelCString::Format("File '%s' is too large to be loaded", name.c_str()));

  const size_t size = static_cast<size_t>(length);
  const size_t added = (flags & qelLoadTerminated) != 0 ? 1 : 0;
  // Not of the guarded family, which would end the process; one byte more, since some systems give
  // nothing for nothing.
  qelOwnedText block(static_cast<char*>(malloc(size + 1)));
  if (block == nullptr)
    return qelError();
  if (file.Read(block.get(), size) != static_cast<int>(size))
    return FileError(file, "Unable to read requested size from file '%s'", name);
  if (added != 0)
    block.get()[size] = '\0';
  buffer.Set(block.release(), size + added);
  return qelError();
}
