#include <qel/files/PathName.h>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelDir.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelPath.h>

#include <cstdlib>
#include <cstring>

// Construction -----------------------------------------------------------------

qelPathName::qelPathName() : m_kind(qelPathKindInvalid) {}

qelPathName::qelPathName(const qelPathName& other)
    : m_kind(other.m_kind), m_path(other.m_path), m_fileName(other.m_fileName),
      m_extension(other.m_extension) {}

qelPathName& qelPathName::operator=(const qelPathName& other) {
  m_kind = other.m_kind;
  m_path = other.m_path;
  m_fileName = other.m_fileName;
  m_extension = other.m_extension;
  return *this;
}

// Reading ----------------------------------------------------------------------

bool qelPathName::IsValid() const {
  return m_kind != qelPathKindInvalid;
}

bool qelPathName::IsDirPath() const {
  return m_kind == qelPathKindDir;
}

bool qelPathName::IsFilePath() const {
  return m_kind == qelPathKindFile;
}

int qelPathName::GetKind() const {
  return m_kind;
}

qelCString qelPathName::GetPath() const {
  return m_path;
}

qelCString qelPathName::GetFileName() const {
  return m_fileName;
}

qelCString qelPathName::GetExtension() const {
  return m_extension;
}

qelCString qelPathName::GetFullName() const {
  qelCString name(m_fileName);
  if (!m_extension.IsEmpty()) {
    name += '.';
    name += m_extension;
  }
  return name;
}

qelCString qelPathName::GetFullPath() const {
  return m_path + GetFullName();
}

const char* qelPathName::c_str() const {
  m_fullPathCache = GetFullPath();
  return m_fullPathCache.c_str();
}

qelPathName::operator const char*() const {
  return c_str();
}

size_t qelPathName::GetPathCount() const {
  return static_cast<size_t>(m_path.Freq('/'));
}

qelCString qelPathName::GetPathPart(size_t index) const {
  if (index == 0)
    return m_path.BeforeFirst('/');
  const char* part = m_path.c_str();
  for (const char* slash; (slash = strchr(part, '/')) != nullptr; part = slash + 1)
    if (index-- == 0)
      return qelCString(part, static_cast<size_t>(slash - part));
  return qelCString();
}

qelCString qelPathName::GetDirName() const {
  const size_t count = GetPathCount();
  return count != 0 ? GetPathPart(count - 1) : qelCString();
}

qelCString qelPathName::GetVolume() const {
  return IsValid() ? m_path.BeforeFirst('/') + '/' : qelCString();
}

// INTENDED: what precedes a "/" at the very start is empty, so a directory that stands right below
// the root of a system without volumes has no parent. Pinned by
// QelPathNameGetParentPath.IsInvalidRightBelowARootWithoutAVolume.
qelPathName qelPathName::GetParentPath() const {
  qelPathName parent;
  if (m_path.Find('/') < 0)
    return parent;
  const qelCString path = IsDirPath() ? m_path.BeforeLast('/') : m_path;
  parent.SetPath(path.BeforeLast('/').c_str());
  return parent;
}

// Changing ---------------------------------------------------------------------

// Cuts a full name at its last ".". False, and nothing changed, if it has none.
static bool CutExtension(qelCString* name, qelCString* extension) {
  if (name->Find('.') < 0)
    return false;
  *extension = name->AfterLast('.');
  *name = name->BeforeLast('.');
  return true;
}

void qelPathName::AppendPathPart(const char* part) {
  if (part == nullptr || part[0] == '\0')
    return;
  if (m_path.IsEmpty()) {
    SetPath(part);
    return;
  }
  m_path += part;
  if (m_path.Last() != '/')
    m_path += '/';
  UpdatePathKind();
}

void qelPathName::SetPath(const char* path) {
  m_path = NormalizePath(path, /*isDir=*/true);
  UpdatePathKind();
}

void qelPathName::SetFileName(const char* fileName) {
  m_fileName = fileName;
  UpdatePathKind();
}

void qelPathName::SetExtension(const char* extension) {
  m_extension = extension;
  UpdatePathKind();
}

void qelPathName::SetFullName(const char* fullName) {
  m_fileName = fullName;
  if (!CutExtension(&m_fileName, &m_extension))
    m_extension.Empty();
  UpdatePathKind();
}

void qelPathName::ToDirPath() {
  m_fileName.Empty();
  m_extension.Empty();
  UpdatePathKind();
}

void qelPathName::Reset() {
  m_kind = qelPathKindInvalid;
  m_path.Empty();
  m_fileName.Empty();
  m_extension.Empty();
}

// The file system --------------------------------------------------------------

bool qelPathName::DirExists() const {
  return IsDirPath() && qelDir_Exists(GetFullPath().c_str()) != 0;
}

bool qelPathName::FileExists() const {
  return IsFilePath() && qelFile_Exists(GetFullPath().c_str()) != 0;
}

bool qelPathName::IsAbsolute(const char* text) {
  return qelPath_IsAbsolute(text) != 0;
}

bool qelPathName::IsPathOnRemovableDrive(const char* text) {
  return qelPath_GetDriveKind(text) == qelPathDriveRemovable;
}

// Making -----------------------------------------------------------------------

qelPathName qelPathName::MakeFilePath(const char* path) {
  return qelPathName(qelPathKindFile, path);
}

// INTENDED: an empty full name leaves a directory path, while MakeFilePath(dir, "", "") is invalid.
// Callers build both kinds through this form. Pinned by
// QelPathNameMakeFilePath.IsADirectoryForAnEmptyFullNameButInvalidForTwoEmptyParts.
qelPathName qelPathName::MakeFilePath(const char* dir, const char* fullName) {
  return qelPathName(dir, fullName);
}

qelPathName qelPathName::MakeFilePath(const char* dir, const char* name, const char* extension) {
  return qelPathName(dir, name, extension);
}

qelPathName qelPathName::MakeDirPath(const char* path) {
  return qelPathName(qelPathKindDir, path);
}

qelPathName qelPathName::MakeCombinedFilePath(const qelPathName& anchor, const char* rel) {
  return qelPathName(anchor, rel, qelPathKindFile);
}

qelPathName qelPathName::MakeCombinedDirPath(const qelPathName& anchor, const char* rel) {
  return qelPathName(anchor, rel, qelPathKindDir);
}

qelPathName qelPathName::MakeTempDirPath() {
  char* folder = qelPath_GetApplicationDataDirectory();
  qelPathName path(qelPathKindDir, folder);
  free(folder);
  return path;
}

qelPathName qelPathName::MakeExistingPath(const qelCString& path) {
  if (qelFile_Exists(path.c_str()) != 0)
    return MakeFilePath(path.c_str());
  if (qelDir_Exists(path.c_str()) != 0)
    return MakeDirPath(path.c_str());
  return qelPathName();
}

bool qelPathName::DirExists(const qelCString& path) {
  return MakeDirPath(path.c_str()).DirExists();
}

bool qelPathName::FileExists(const qelCString& path) {
  return MakeFilePath(path.c_str()).FileExists();
}

qelPathName::qelPathName(int kind, const char* path) : m_kind(kind) {
  SetFullPath(path, kind);
}

qelPathName::qelPathName(const char* dir, const char* fullName) : m_kind(qelPathKindInvalid) {
  SetFullPath(dir, qelPathKindDir);
  SetFullName(fullName);
  UpdatePathKind();
}

qelPathName::qelPathName(const char* dir, const char* name, const char* extension)
    : m_kind(qelPathKindInvalid) {
  SetFullPath(dir, qelPathKindDir);
  if (IsDirPath()) {
    SetFileName(name);
    SetExtension(extension);
  }
  if (!IsFilePath())
    Reset();
}

// INTENDED: the only constructor that resolves "." and "..", and it joins by plain concatenation,
// so an anchor that is a file path glues the text to its file name, and an invalid anchor leaves
// the text relative. Pinned by QelPathNameMakeCombinedFilePath.GluesTheTextToAnAnchorThatIsAFile.
qelPathName::qelPathName(const qelPathName& anchor, const char* rel, int kind)
    : m_kind(qelPathKindInvalid) {
  m_path = NormalizePathWithAnchor(rel, kind == qelPathKindDir, anchor.GetFullPath().c_str());
  ComputeFileNameExtensionAndPathKind(kind);
  SimplifyPath();
}

// Internals --------------------------------------------------------------------

void qelPathName::SetFullPath(const char* path, int kind) {
  m_path = NormalizePathWithAnchor(path, kind == qelPathKindDir, /*anchor=*/nullptr);
  ComputeFileNameExtensionAndPathKind(kind);
}

qelCString qelPathName::NormalizePath(const char* text, bool isDir) {
  return NormalizePathWithAnchor(text, isDir, /*anchor=*/nullptr);
}

qelCString qelPathName::NormalizePathWithAnchor(const char* text, bool isDir, const char* anchor) {
  qelCString path = qelCString::FromAllocatedString(
      qelPath_Normalize(text, /*stripTrailing=*/isDir ? 1 : 0, /*flags=*/0, anchor));
  if (isDir && !path.IsEmpty() && path.Last() != '/')
    path += '/';
  return path;
}

void qelPathName::ComputeFileNameExtensionAndPathKind(int kind) {
  if (kind == qelPathKindFile) {
    m_fileName = m_path.Find('/') >= 0 ? m_path.AfterLast('/') : qelCString();
    if (m_fileName.IsEmpty()) {
      Reset();
      return;
    }
    m_path.Truncate(m_path.length() - m_fileName.length());
    CutExtension(&m_fileName, &m_extension);
  }
  UpdatePathKind();
  if (m_kind != kind)
    Reset();
}

// Moves *end, the length written so far, back to the "/" ahead of the last part. False if there is
// none to drop, or none ahead of it in a text that does not begin with "/": the volume can't be
// left.
static bool DropLastPart(const char* text, size_t* end) {
  if (*end == 0)
    return false;
  do
    *end -= 1;
  while (*end != 0 && text[*end] != '/');
  return *end != 0 || text[0] == '/';
}

// A new text of path without ".", ".." and repeated "/", ending in "/"; null if ".." leads out of
// it.
static char* Simplified(const char* path) {
  char* text = static_cast<char*>(qelMem_Alloc(strlen(path) + 2));
  const bool isRooted = path[0] == '/';
  size_t end = 0;
  for (size_t length = 0; *path != '\0'; path += length) {
    length = *path == '/' ? 1 : strcspn(path, "/");
    if (*path == '/' || (length == 1 && path[0] == '.'))
      continue;
    if (length == 2 && path[0] == '.' && path[1] == '.') {
      if (DropLastPart(text, &end))
        continue;
      free(text);
      return nullptr;
    }
    if (isRooted || end != 0)
      text[end++] = '/';
    memcpy(text + end, path, length);
    end += length;
  }
  text[end] = '/';
  text[end + 1] = '\0';
  return text;
}

void qelPathName::SimplifyPath() {
  if (!IsValid() || m_path.IsEmpty())
    return;
  char* path = Simplified(m_path.c_str());
  if (path == nullptr) {
    Reset();
    return;
  }
  m_path = path;
  free(path);
}

void qelPathName::UpdatePathKind() {
  const int kind = m_fileName.IsEmpty() && m_extension.IsEmpty() ? qelPathKindDir : qelPathKindFile;
  m_kind = m_path.IsEmpty() ? qelPathKindInvalid : kind;
  if (m_kind == qelPathKindInvalid)
    Reset();
}
