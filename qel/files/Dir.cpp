#define QEL_LOG_MODULE 43
#define QEL_LOG_FILE "..\\..\\Dir"

#include <qel/files/Dir.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/DateTime.h>
#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/files/File.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>

constexpr int kClosed = 0;
constexpr int kOpen = 1;
constexpr int kEnumerating = 3;

// The next entry. An error stays until the enumeration is started afresh, also if the system goes on
// behind it.
static const qelDirEntry_t* NextEntry(qelOSDir* dir, int* error) {
  int failed = 0;
  const qelDirEntry_t* found = qelDir_GetNext(dir, &failed);
  if (failed != 0)
    *error = failed;
  return found;
}

qelDir::qelDir() : m_osDir(nullptr), m_state(kClosed), m_error(0) {}

qelDir::qelDir(const char* path) : qelDir() {
  Open(path);
}

qelDir::~qelDir() {
  Close();
}

bool qelDir::Open(const char* path) {
  const qelPathName pathName = qelPathName::MakeDirPath(path); // path may be this object's own text
  Close();
  m_pathName = pathName;
  m_osDir = qelDir_New(m_pathName.GetFullPath().c_str());
  m_state = kOpen;
  // INTENDED: true for a directory that is not there, too; programs open one ahead of creating it.
  // Pinned by qelDirOpen.IsTrueForAMissingDirectory.
  return true;
}

void qelDir::Rewind() {
  if (m_osDir == nullptr)
    return;
  qelDir_EndEnumeration(m_osDir);
  m_error = 0;
  m_state = kOpen;
}

bool qelDir::IsOpened() const {
  return m_state != kClosed;
}

bool qelDir::Error() const {
  return m_error != 0;
}

const qelPathName& qelDir::GetPathName() const {
  return m_pathName;
}

bool qelDir::GetFirst(qelPathName& entry, const qelCString& pattern, int filter) {
  if (m_osDir == nullptr)
    return false;
  Rewind();
  const qelDirEntry_t* found = qelDir_GetFirst(m_osDir, pattern.c_str(), filter, &m_error);
  if (!TakeEntry(found, entry))
    return false;
  m_state = kEnumerating;
  return true;
}

bool qelDir::GetNext(qelPathName& entry) {
  if (m_state != kEnumerating)
    return false;
  return TakeEntry(NextEntry(m_osDir, &m_error), entry);
}

bool qelDir::HasFiles(const qelCString& pattern) {
  qelPathName scratch;
  return GetFirst(scratch, pattern, qelDirFilterFiles | qelDirFilterHidden);
}

bool qelDir::HasDirs(const qelCString& pattern) {
  qelPathName scratch;
  return GetFirst(scratch, pattern, qelDirFilterDirs);
}

qelULong qelDir::GetCount(const qelCString& pattern, int filter) {
  qelPathName scratch;
  qelULong count = 0;
  for (bool more = GetFirst(scratch, pattern, filter); more; more = GetNext(scratch))
    ++count;
  return count;
}

bool qelDir::Exists(const char* path) {
  return qelDir_Exists(path) != 0;
}

bool qelDir::Create(const char* path) {
  return qelDir_Create(path) == 0;
}

bool qelDir::CreateRecursively(const char* path) {
  return qelDir_CreateRecursively(path) != 0;
}

bool qelDir::Remove(const char* path) {
  return qelDir_Remove(path) == 0;
}

// Removal of a tree --------------------------------------------------------------
//
// What is left to do stands in a list, next task first. A tree is replaced in it by
// its entries and, behind them, by itself as an empty directory, so the order of
// the calls is that of a walk by recursion.

namespace {

enum class TaskKind {
  RemoveFile,     // anything but a directory
  RemoveTree,     // a directory with what is in it, or a link to a directory
  RemoveEmptyDir, // a directory that has been emptied
};

struct Task {
  TaskKind kind;
  char* path; // owned
};

} // namespace

static Task* NewTask(TaskKind kind, const char* path) {
  Task* task = static_cast<Task*>(qelMem_Alloc(sizeof(Task)));
  task->kind = kind;
  task->path = qelMem_StrDup(path);
  return task;
}

static void FreeTask(void* item) {
  Task* task = static_cast<Task*>(item);
  free(task->path);
  free(task);
}

// Reads the whole listing before anything in it is removed: some systems skip entries otherwise.
static void PlanTree(qelPtrList* tasks, const char* path) {
  qelPtrListNode* last =
      qelPtrList_InsertBefore(tasks, tasks->head, NewTask(TaskKind::RemoveEmptyDir, path));
  qelDir dir(path);
  qelPathName entry;
  const int filter = qelDirFilterFiles | qelDirFilterDirs | qelDirFilterHidden;
  for (bool more = dir.GetFirst(entry, "*", filter); more; more = dir.GetNext(entry)) {
    const TaskKind kind = entry.IsDirPath() ? TaskKind::RemoveTree : TaskKind::RemoveFile;
    qelPtrList_InsertBefore(tasks, last, NewTask(kind, entry.c_str()));
  }
}

// Does one task, which may add others ahead of the rest. False ends the attempt.
static bool RunTask(qelPtrList* tasks, const Task* task) {
  switch (task->kind) {
  case TaskKind::RemoveFile:
    return qelFile::Remove(task->path);
  case TaskKind::RemoveEmptyDir:
    return qelDir::Remove(task->path);
  case TaskKind::RemoveTree:
    break;
  }
  if (!qelDir_Exists(task->path)) // another one was faster
    return true;
  if (qelDir_IsLink(task->path))
    return qelDir::Remove(task->path);
  PlanTree(tasks, task->path);
  return true;
}

static bool RemoveTree(const char* path) {
  qelPtrList* tasks = qelPtrList_New();
  qelPtrList_SetFreeFunction(tasks, &FreeTask);
  qelPtrList_Append(tasks, NewTask(TaskKind::RemoveTree, path));
  bool removed = true;
  while (removed && qelPtrList_GetCount(tasks) != 0) {
    Task* task = static_cast<Task*>(qelPtrList_PopHead(tasks));
    removed = RunTask(tasks, task);
    FreeTask(task);
  }
  qelPtrList_Delete(tasks);
  return removed;
}

bool qelDir::RemoveRecursively(const char* path, size_t tries) {
  // INTENDED: no tries are a success with the tree left in place: the result is that of the last
  // attempt, and none has failed. Pinned by qelDirRemoveRecursively.IsTrueForAMissingPathAndForNoTries.
  bool removed = true;
  for (size_t attempt = 0; attempt < tries && qelDir_Exists(path); ++attempt)
    removed = RemoveTree(path);
  return removed;
}

qelPtrList* qelDir::GetRootDirList() {
  qelPtrList* list = qelPtrList_New();
  qelPtrList_SetFreeFunction(list, &qelPtrList_FreeItem);
  const qelOwnedText roots(qelDir_GetRoots());
  if (roots == nullptr)
    return list;
  for (const char* root = roots.get(); *root != '\0'; root += strlen(root) + 1)
    qelPtrList_Append(list, qelMem_StrDup(root));
  return list;
}

bool qelDir::GetTimes(const char* path, qelDateTime* access, qelDateTime* modification,
                      qelDateTime* creation) {
  qeltimeval accessed;
  qeltimeval modified;
  qeltimeval created;
  if (qelDir_GetTimes(path, &accessed, &modified, &created) != 0)
    return false;
  if (access != nullptr)
    access->Set(accessed);
  if (modification != nullptr)
    modification->Set(modified);
  if (creation != nullptr)
    creation->Set(created);
  return true;
}

void qelDir::Close() {
  qelDir_Delete(m_osDir);
  m_osDir = nullptr;
  m_state = kClosed;
  m_pathName.Reset();
  m_error = 0;
}

// Whether every operation that takes this name comes to this very file or directory.
static bool NamesItself(const qelCString& path) {
  const qelOwnedText normalised(
      qelPath_Normalize(path.c_str(), /*stripTrailing=*/0, /*flags=*/0, /*anchor=*/nullptr));
  return normalised != nullptr && path == normalised.get();
}

bool qelDir::TakeEntry(const qelDirEntry_t* found, qelPathName& entry) {
  for (; found != nullptr; found = NextEntry(m_osDir, &m_error)) {
    qelPathName path(m_pathName);
    qelCString expected = m_pathName.GetPath() + found->name;
    if (found->isDir) {
      path.AppendPathPart(found->name);
      expected += '/';
    } else {
      path.SetFullName(found->name);
    }
    if (path.GetFullPath() == expected && NamesItself(expected)) {
      entry = path;
      return true;
    }
    QEL_LOG(1, "qelDir: Skipping entry '%s' of directory '%s' (its path would name another one)\n",
            found->name, m_pathName.c_str());
  }
  return false;
}
