#define QEL_LOG_MODULE 36
#define QEL_LOG_FILE "..\\..\\FileCacheManager"

#include <qel/cache/FileCacheManager.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <qel/containers/qelArray.h>
#include <qel/containers/qelByteKeyMap.h>
#include <qel/containers/qelPtrList.h>
#include <qel/core/DateTime.h>
#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/files/Dir.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelThread.h>
#include <qel/multiplatform/qelTime.h>

// Cached files and directories are made readable and writable.
static const int kPermissions = 3;

// How long a reader waits between two looks at a file that is being written.
static const int kWriterPollMS = 100;

static const int kAllEntries = qelDirFilterFiles | qelDirFilterDirs | qelDirFilterHidden;

static int64_t Now() {
  return qelDateTime::Now().GetTicks();
}

// The records ------------------------------------------------------------------------

static void FreeInfo(void* item) {
  qelCachedFileInfo* info = static_cast<qelCachedFileInfo*>(item);
  if (info == nullptr)
    return;
  std::free(info->name);
  std::free(info);
}

// The rank of a state in the order of eviction.
static int EvictionRank(int32_t state) {
  if (state == qelCachedFileToRemove)
    return 0;
  return state == qelCachedFileWriting ? 2 : 1;
}

// What is to be removed first, what is being written last, the rest by age. A sort hands addresses of
// slots.
static int CompareForEviction(const void* a, const void* b) {
  const qelCachedFileInfo* first = *static_cast<qelCachedFileInfo* const*>(a);
  const qelCachedFileInfo* second = *static_cast<qelCachedFileInfo* const*>(b);
  const int rank = EvictionRank(first->state) - EvictionRank(second->state);
  if (rank != 0)
    return rank;
  return first->time < second->time ? -1 : first->time > second->time;
}

qelCachedFileInfo* qelFileCacheManager::FindFile(const char* name) const {
  return static_cast<qelCachedFileInfo*>(qelByteKeyMap_Get(m_files, name, std::strlen(name)));
}

qelCachedFileInfo* qelFileCacheManager::AddFile(const char* name) {
  qelCachedFileInfo* info = static_cast<qelCachedFileInfo*>(qelMem_Alloc(sizeof *info));
  *info = {0, 0, qelMem_StrDup(name), qelCachedFileComplete};
  qelByteKeyMap_Set(m_files, name, std::strlen(name), info);
  qelArray_Append(m_fileList, info);
  return info;
}

// Files with holes can claim more bytes together than the sum can hold. It then stands at its end,
// where every limit is passed.
void qelFileCacheManager::CountBytes(qelCachedFileInfo* info, int64_t length) {
  info->size = length > 0 ? length : 0; // negative: it can't be told
  m_totalSize += std::min(info->size, INT64_MAX - m_totalSize);
}

// INTENDED: a file as large as all files together leaves the sum as it is. Programs were tuned to
// when eviction begins. Pinned by FileCacheRemoveTempFile.KeepsASumThatTheFileAloneMadeUp.
void qelFileCacheManager::ForgetFile(qelCachedFileInfo* info) {
  if (m_totalSize > info->size)
    m_totalSize -= info->size;
  qelByteKeyMap_Remove(m_files, info->name, std::strlen(info->name));
  qelArray_Remove(m_fileList, info);
}

// Making -----------------------------------------------------------------------------

qelFileCacheManager* qelFileCacheManager::New(qelULong maxSize, const qelCString& baseDir,
                                              const qelCString& subDir1,
                                              const qelCString& subDir2) {
  const qelPathName base = baseDir.IsEmpty() ? qelPathName::MakeTempDirPath()
                                             : qelPathName::MakeDirPath(baseDir.c_str());
  if (!base.DirExists()) {
    QEL_LOG(1, "Cannot create temporary directory, base directory is unspecified\n");
    return nullptr;
  }
  std::unique_ptr<qelFileCacheManager> manager(
      new qelFileCacheManager(maxSize, base, subDir1, subDir2));
  if (!manager->m_valid) {
    QEL_LOG(1, "Cannot create temporary directory '%s%s%s%s%s'\n", base.c_str(),
            subDir1.IsEmpty() ? "" : "/", subDir1.c_str(), subDir2.IsEmpty() ? "" : "/",
            subDir2.c_str());
    return nullptr;
  }
  manager->Cache_Build();
  return manager.release();
}

qelFileCacheManager::qelFileCacheManager(qelULong maxSize, const qelPathName& base,
                                         const qelCString& subDir1, const qelCString& subDir2)
    : m_directory(base), m_maxSize(maxSize), m_valid(true), m_files(nullptr), m_fileList(nullptr),
      m_totalSize(0), m_fileRemovedCallback(nullptr), m_fileRemovedContext(nullptr),
      m_directoryText(nullptr) {
  if (!subDir1.IsEmpty()) {
    m_valid = CreateSubDirectory(subDir1);
    if (m_valid && !subDir2.IsEmpty())
      m_valid = CreateSubDirectory(subDir2);
  }
  if (!m_valid)
    return;
  m_directoryText = qelMem_StrDup(m_directory.c_str());
  m_files = qelByteKeyMap_New();
  m_fileList = qelArray_New();
  qelArray_SetFreeFunction(m_fileList, FreeInfo);
  qelArray_SetCompare(m_fileList, CompareForEviction, /*sorted=*/0);
}

qelFileCacheManager::~qelFileCacheManager() {
  qelByteKeyMap_Delete(m_files);
  qelArray_Delete(m_fileList);
  std::free(m_directoryText);
}

bool qelFileCacheManager::CreateSubDirectory(const qelCString& name) {
  m_directory.AppendPathPart(name.c_str());
  // The second look finds what another process created meanwhile.
  if (m_directory.DirExists() || qelDir::Create(m_directory.c_str()) || m_directory.DirExists())
    return true;
  QEL_LOG(1, "Cannot create sub directory '%s'\n", name.c_str());
  return false;
}

// The picture of the directory --------------------------------------------------------

void qelFileCacheManager::Cache_Clear() {
  qelByteKeyMap_Clear(m_files);
  qelArray_Clear(m_fileList);
  m_totalSize = 0;
}

void qelFileCacheManager::Cache_Build() {
  Cache_Clear();
  qelDir dir(m_directory.c_str());
  qelPathName entry;
  for (bool found = dir.GetFirst(entry, "*", kAllEntries); found; found = dir.GetNext(entry)) {
    const qelCString name = entry.GetFullName();
    int64_t size = 0;
    int64_t time = 0;
    if (!FetchInfoForFile(name, &size, &time))
      continue;
    qelCachedFileInfo* info = AddFile(name.c_str());
    info->time = time;
    CountBytes(info, size);
  }
}

bool qelFileCacheManager::FetchInfoForFile(const qelCString& name, int64_t* size, int64_t* time) {
  const qelPathName path = GetFilePath(name.c_str());
  // A pipe would keep the open waiting.
  if (!qelFile_IsRegular(path.c_str()))
    return false;
  qelFile file;
  const int64_t length = file.Open(path.c_str(), qelFileModeRead, 0) ? file.Length() : 0;
  qeltimeval access;
  const bool known = qelFile_GetTimes(path.c_str(), &access, nullptr, nullptr) == 0;
  *size = length > 0 ? length : 0;
  *time = known ? qelDateTime(access).GetTicks() : Now();
  return true;
}

void qelFileCacheManager::Cache_FileAdded(const qelCString& name) {
  qelCachedFileInfo* info = AddFile(name.c_str());
  info->state = qelCachedFileWriting;
  info->time = Now();
}

void qelFileCacheManager::Cache_FileRemoved(const qelCString& name) {
  qelCachedFileInfo* info = FindFile(name.c_str());
  if (info != nullptr)
    ForgetFile(info);
  else
    QEL_LOG(1, "Cannot find file to remove '%s' in cache information\n", name.c_str());
}

void qelFileCacheManager::Cache_CheckMaxSize() {
  if (m_totalSize <= m_maxSize)
    return;
  qelArray_Sort(m_fileList);
  for (size_t i = 0; i < qelArray_GetCount(m_fileList) && m_totalSize > m_maxSize;) {
    const qelCachedFileInfo* info = static_cast<qelCachedFileInfo*>(qelArray_GetAt(m_fileList, i));
    if (info->state == qelCachedFileWriting)
      return;
    if (!RemoveTempFile(info->name))
      ++i;
  }
}

// Names -------------------------------------------------------------------------------

// Whether the name stands for a file of its own in the directory.
static bool IsPlainName(const char* name) {
  const size_t length = std::strlen(name);
  return length != 0 && std::strpbrk(name, "/\\") == nullptr && name[length - 1] != '.';
}

static bool CheckName(const char* name) {
  if (IsPlainName(name))
    return true;
  QEL_LOG(1, "No name for a cached file: '%s'\n", name);
  return false;
}

// All of it is made here, since texts that are shared can't be counted by two threads at once.
qelPathName qelFileCacheManager::GetFilePath(const char* name) const {
  qelPathName path = qelPathName::MakeDirPath(m_directoryText);
  path.SetFullName(name);
  return path;
}

qelCString qelFileCacheManager::GetFullPath(const qelCString& name) {
  return GetFilePath(name.c_str()).GetFullPath();
}

// Opening -----------------------------------------------------------------------------

static int ExistingFileMode(int mode) {
  return mode == 2 ? qelFileModeRead | qelFileModeWrite : qelFileModeRead;
}

// INTENDED: mode 2 opens a new file to read only, though an existing one to read and write. Who asks so
// wants to change what is there, and fills a new file through the other modes. Pinned by
// FileCacheOpenCachedFile.OpensByTheTableOfModes.
static int NewFileMode(int mode) {
  return mode == 1 || mode == 2 ? qelFileModeRead : qelFileModeRead | qelFileModeWrite;
}

qelFile* qelFileCacheManager::CreateCachedFile(const qelPathName& path, int openMode) {
  std::unique_ptr<qelFile> file(new qelFile);
  if (!file->Create(path.c_str(), /*truncate=*/false, kPermissions) || !file->Close() ||
      !file->Open(path.c_str(), openMode, kPermissions))
    return nullptr;
  Cache_FileAdded(path.GetFullName());
  return file.release();
}

qelFile* qelFileCacheManager::OpenComplete(qelCachedFileInfo* info, int mode) {
  const qelPathName path = GetFilePath(info->name);
  std::unique_ptr<qelFile> file(new qelFile);
  // A pipe in the file's place would keep the open waiting, and all threads with it.
  if (!qelFile_IsRegular(path.c_str()) ||
      !file->Open(path.c_str(), ExistingFileMode(mode), kPermissions))
    return nullptr;
  info->time = Now();
  return file.release();
}

bool qelFileCacheManager::TryToOpen(const qelCString& name, bool* created, int mode,
                                    qelFile** file) {
  const qelPathName path = GetFilePath(name.c_str());
  for (;;) {
    qelCachedFileInfo* info = FindFile(name.c_str());
    if (info == nullptr) {
      *file = CreateCachedFile(path, NewFileMode(mode));
      *created = *file != nullptr;
      return true;
    }
    if (info->state == qelCachedFileWriting)
      return false;
    if (info->state == qelCachedFileComplete) {
      if (mode == 3)
        return true;
      if (path.FileExists()) {
        *file = OpenComplete(info, mode);
        return true;
      }
    }
    // The file is gone, or should be.
    if (!RemoveTempFile(name))
      return true;
  }
}

qelFile* qelFileCacheManager::OpenCachedFile(const qelCString& name, bool* created, int mode) {
  *created = false;
  if (!CheckName(name.c_str()))
    return nullptr;
  for (;;) {
    {
      qelMutexLocker lock(&m_mutex);
      qelFile* file = nullptr;
      if (TryToOpen(name, created, mode, &file))
        return file;
    }
    qelOSThread_Sleep(kWriterPollMS);
  }
}

void qelFileCacheManager::SetCachedFileState(const qelCString& name, qelFile* file, bool complete) {
  qelMutexLocker lock(&m_mutex);
  qelCachedFileInfo* info = FindFile(name.c_str());
  if (info == nullptr)
    return;
  if (!complete) {
    file->Close();
    RemoveTempFile(name);
    return;
  }
  info->state = qelCachedFileComplete;
  info->time = Now();
  // INTENDED: a file that is ended twice counts twice. The sum only begins evictions early then, and
  // the next start counts afresh. Pinned by
  // FileCacheSetCachedFileState.CountsAFileAgainThatIsEndedAgain.
  CountBytes(info, file->Length());
  Cache_CheckMaxSize();
}

// Removing ----------------------------------------------------------------------------

bool qelFileCacheManager::RemoveTempFile(const qelCString& name) {
  // The caller's text may be the record's, or change in the callback.
  const qelCString key(name.c_str());
  if (!CheckName(key.c_str()))
    return false;
  const qelPathName path = GetFilePath(key.c_str());
  qelMutexLocker lock(&m_mutex);
  const bool removed = !path.FileExists() || qelFile::Remove(path.c_str());
  qelCachedFileInfo* info = FindFile(key.c_str());
  if (info == nullptr)
    return removed;
  if (!removed) {
    info->state = qelCachedFileToRemove;
    return false;
  }
  if (m_fileRemovedCallback != nullptr) {
    m_fileRemovedCallback(m_fileRemovedContext, key.c_str());
    // The callback may have changed the cache.
    info = FindFile(key.c_str());
  }
  if (info != nullptr)
    ForgetFile(info);
  return true;
}

// Reads the whole listing before anything in it is deleted: some systems skip entries otherwise.
static void DeleteFiles(qelDir* dir) {
  qelPtrList* paths = qelPtrList_New();
  qelPtrList_SetFreeFunction(paths, &qelPtrList_FreeItem);
  qelPathName entry;
  for (bool found = dir->GetFirst(entry, "*", kAllEntries); found; found = dir->GetNext(entry))
    if (entry.FileExists())
      qelPtrList_Append(paths, qelMem_StrDup(entry.c_str()));
  for (const qelPtrListNode* node = paths->head; node != nullptr; node = node->next)
    qelFile::Remove(static_cast<const char*>(qelPtrListNode_GetData(node)));
  qelPtrList_Delete(paths);
}

bool qelFileCacheManager::Empty(bool removeDirectory) {
  qelMutexLocker lock(&m_mutex);
  qelDir dir(m_directory.c_str());
  DeleteFiles(&dir);
  bool emptied = !dir.HasFiles("*");
  dir.Rewind();
  if (emptied && removeDirectory)
    emptied = qelDir::Remove(m_directory.c_str());
  Cache_Build();
  return emptied;
}

void qelFileCacheManager::SetFileRemovedCallBack(void (*callback)(void* context, const char* name),
                                                 void* context) {
  m_fileRemovedCallback = callback;
  m_fileRemovedContext = context;
}
