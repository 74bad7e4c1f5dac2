#define QEL_LOG_MODULE 42
#define QEL_LOG_FILE "..\\..\\File"

#include <qel/files/File.h>

#include <qel/core/DateTime.h>
#include <qel/core/Log.h>
#include <qel/multiplatform/qelFilePrivate.h>

// The descriptor as log lines show it.
static int ShownFD(void* fd) {
  return static_cast<int>(reinterpret_cast<intptr_t>(fd));
}

qelFile::qelFile() : m_fd(qelFile_ClosedFD()), m_errorCode(qelFileErrorNone) {}

qelFile::qelFile(void* fd) : m_fd(fd), m_errorCode(qelFileErrorNone) {}

qelFile::qelFile(const char* name, int mode) : qelFile() {
  Open(name, mode, /*permissions=*/0);
}

qelFile::~qelFile() {
  Close();
}

bool qelFile::Open(const char* name, int mode, int permissions) {
  void* opened = nullptr;
  m_errorCode = qelFile_Open(name, mode, permissions, &opened);
  if (Error()) {
    QEL_LOG(1, "Open: Cannot open file '%s'\n", qelFile_ShownName(name));
    return false;
  }
  Attach(opened);
  return true;
}

bool qelFile::Create(const char* name, bool truncate, int permissions) {
  const int mode = qelFileModeRead | qelFileModeWrite | qelFileModeCreate |
                   (truncate ? qelFileModeTruncate : qelFileModeExclusive);
  void* opened = nullptr;
  m_errorCode = qelFile_Open(name, mode, permissions, &opened);
  if (Error()) {
    QEL_LOG(1, "Create: Cannot create file '%s'\n", qelFile_ShownName(name));
    return false;
  }
  Attach(opened);
  return true;
}

bool qelFile::Close() {
  m_errorCode = qelFileErrorNone;
  if (!IsOpened())
    return true;
  m_errorCode = qelFile_Close(m_fd);
  if (Error())
    QEL_LOG(1, "Close: Cannot close file descriptor %d\n", ShownFD(m_fd));
  m_fd = qelFile_ClosedFD();
  return !Error();
}

void qelFile::Attach(void* fd) {
  Close();
  m_errorCode = qelFileErrorNone;
  m_fd = fd;
}

void* qelFile::Detach() {
  void* fd = m_fd;
  m_fd = qelFile_ClosedFD();
  m_errorCode = qelFileErrorNone;
  return fd;
}

void* qelFile::GetFD() const {
  return m_fd;
}

bool qelFile::IsOpened() const {
  return m_fd != qelFile_ClosedFD();
}

bool qelFile::Error() const {
  return m_errorCode != qelFileErrorNone;
}

int qelFile::GetErrorCode() const {
  return m_errorCode;
}

int qelFile::Read(void* buffer, size_t count) {
  const int read = qelFile_Read(m_fd, buffer, count);
  if (read >= 0) // INTENDED: the status stays, so that a failure stays readable behind later
    return read; // successes. Pinned by qelFileRead.LeavesAnEarlierStatusAlone.
  m_errorCode = read;
  QEL_LOG(1, "Read: Cannot read from file descriptor %d\n", ShownFD(m_fd));
  return -1;
}

size_t qelFile::Write(const void* buffer, size_t count) {
  const int written = qelFile_Write(m_fd, buffer, count);
  if (written >= 0) // INTENDED: as in Read. Pinned by qelFileWrite.LeavesAnEarlierStatusAlone.
    return static_cast<size_t>(written);
  m_errorCode = written;
  QEL_LOG(1, "Write: Cannot write to file descriptor %d\n", ShownFD(m_fd));
  return 0;
}

bool qelFile::Flush() {
  m_errorCode = IsOpened() ? qelFile_Flush() : qelFileErrorNone;
  return !Error();
}

int64_t qelFile::Tell() const {
  int64_t position = 0;
  m_errorCode = qelFile_Tell(m_fd, &position);
  if (!Error())
    return position;
  QEL_LOG(1, "Tell: Cannot get position\n");
  return -1;
}

int64_t qelFile::Seek(int64_t offset, int origin) {
  m_errorCode = qelFile_Seek(m_fd, offset, origin);
  if (!Error())
    return Tell();
  QEL_LOG(1, "Seek: Cannot seek on file descriptor %d\n", ShownFD(m_fd));
  return -1;
}

int64_t qelFile::Length() const {
  int64_t initial = 0;
  m_errorCode = qelFile_Tell(m_fd, &initial);
  if (Error()) {
    QEL_LOG(1, "Length: Cannot get initial position\n");
    return -1;
  }
  m_errorCode = qelFile_Seek(m_fd, 0, /*origin=*/2);
  if (Error()) {
    QEL_LOG(1, "Length: Cannot seek to end of file\n");
    return -1;
  }
  int64_t length = -1;
  m_errorCode = qelFile_Tell(m_fd, &length);
  if (Error())
    QEL_LOG(1, "Length: Cannot get file length\n");
  const int restored = qelFile_Seek(m_fd, initial, /*origin=*/0);
  if (restored != qelFileErrorNone) {
    QEL_LOG(1, "Length: Cannot restore initial position\n");
    if (!Error()) // the first failure is the one that is kept
      m_errorCode = restored;
  }
  return length;
}

bool qelFile::EndOfFile() const {
  // INTENDED: the answer itself becomes the status, so 1 at the end, though nothing failed. Pinned by
  // qelFileEndOfFile.LeavesOneInTheStatusAtTheEnd.
  m_errorCode = qelFile_IsEOF(m_fd);
  return m_errorCode == 1;
}

bool qelFile::ChangeSize(int64_t size) {
  m_errorCode = qelFile_Truncate(m_fd, size);
  if (Error())
    QEL_LOG(1, "ChangeSize: Cannot truncate/extend file\n");
  return !Error();
}

bool qelFile::Exists(const char* name) {
  return qelFile_Exists(name) != 0;
}

bool qelFile::Remove(const char* name) {
  return qelFile_Remove(name) == qelFileErrorNone;
}

bool qelFile::Rename(const char* from, const char* to) {
  return qelFile_Rename(from, to) == qelFileErrorNone;
}

bool qelFile::ChangeSize(const char* name, int64_t size) {
  return qelFile_SetSize(name, size) == 0;
}

bool qelFile::Access(const char* name, int mode) {
  return qelFile_Access(name, mode) != 0;
}

bool qelFile::GetTimes(const char* name, qelDateTime* access, qelDateTime* modification,
                       qelDateTime* creation) {
  qeltimeval accessed;
  qeltimeval modified;
  qeltimeval created;
  if (qelFile_GetTimes(name, &accessed, &modified, &created) != qelFileErrorNone)
    return false;
  if (access != nullptr)
    access->Set(accessed);
  if (modification != nullptr)
    modification->Set(modified);
  if (creation != nullptr)
    creation->Set(created);
  return true;
}
