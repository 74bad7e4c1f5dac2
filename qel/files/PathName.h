#ifndef QEL_FILES_PATHNAME_H
#define QEL_FILES_PATHNAME_H
//===----------------------------------------------------------------------===//
// qelPathName, a location in the file system: a full path cut into directory,
// file name and extension, with "/" between its parts on every system.
//
//   "C:/a/b.tar.gz"    path "C:/a/", file name "b.tar", extension "gz"
//   "C:/a/"            path "C:/a/", a directory
//
// Text is anchored on the program's directory when it is relative, and names of
// special folders such as "<MyMusic>" are expanded; qelPath.h tells the rules.
// Case stays as given, and "." and ".." stay except in the combined paths.
//
// INVARIANTS: an invalid object has three empty texts. A file path has a path and
// a file name or an extension. A directory path has a path only. The path ends in
// "/".
// ERRORS: text that makes no path gives an invalid object; see IsValid.
// OWNERSHIP: a value. A copy starts with an empty c_str, an assignment leaves the
// target's c_str as it was.
// THREADS: one thread at a time, for c_str writes even to a const object.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/core/Export.h>

// Kinds of a path.
constexpr int qelPathKindInvalid = 0;
constexpr int qelPathKindFile = 1;
constexpr int qelPathKindDir = 2;

class QEL_EXPORT qelPathName {
public:
  // Invalid.
  qelPathName();
  qelPathName(const qelPathName& other);
  qelPathName& operator=(const qelPathName& other);

  bool IsValid() const;
  bool IsDirPath() const;
  bool IsFilePath() const;
  int GetKind() const; // qelPathKindInvalid, qelPathKindFile or qelPathKindDir

  qelCString GetPath() const;      // the directory part with its "/"
  qelCString GetFileName() const;  // without the extension
  qelCString GetExtension() const; // without its dot

  // File name, and "." and extension if there is one.
  qelCString GetFullName() const;

  // Path and full name.
  qelCString GetFullPath() const;

  // The same as text that holds until the next c_str of this object or its end.
  const char* c_str() const;
  operator const char*() const;

  // How many "/" stand in the path.
  size_t GetPathCount() const;

  // The index-th part of the path, without its "/". Index 0 is the volume; past the last part it is
  // empty.
  // Cost: one walk along the path.
  qelCString GetPathPart(size_t index) const;

  // The last part of the path.
  qelCString GetDirName() const;

  // Everything ahead of the first "/", and a "/": "C:/". Empty for an invalid object.
  qelCString GetVolume() const;

  // The directory that holds the file, or the one above the directory. Invalid above a volume.
  qelPathName GetParentPath() const;

  // Adds text to the path as it stands, and a "/" if there is none at its end. An empty (or null)
  // part does nothing; an empty path takes it through SetPath.
  void AppendPathPart(const char* part);

  // Replaces the path, keeping file name and extension.
  void SetPath(const char* path);

  // Replace one part. The kind follows, so a path that is left without a name is a directory's.
  void SetFileName(const char* fileName);
  void SetExtension(const char* extension);

  // Replaces both, cutting at the last ".".
  void SetFullName(const char* fullName);

  // Drops file name and extension.
  void ToDirPath();

  // Back to an invalid object.
  void Reset();

  // Whether the directory, or file, is there. False for another kind of path.
  bool DirExists() const;
  bool FileExists() const;

  static bool IsAbsolute(const char* text);
  static bool IsPathOnRemovableDrive(const char* text);

  // A file path of one text, of a directory and a full name, of a directory, a name and an
  // extension. With an empty full name the second is a directory path; with both empty the third is
  // invalid.
  static qelPathName MakeFilePath(const char* path);
  static qelPathName MakeFilePath(const char* dir, const char* fullName);
  static qelPathName MakeFilePath(const char* dir, const char* name, const char* extension);
  static qelPathName MakeDirPath(const char* path);

  // A path relative to another one, joined by plain concatenation, with "." and ".." resolved. A
  // path that would leave its volume is invalid.
  static qelPathName MakeCombinedFilePath(const qelPathName& anchor, const char* rel);
  static qelPathName MakeCombinedDirPath(const qelPathName& anchor, const char* rel);

  // The user's application data folder: temporary items are kept there, not in the system's folder
  // for such.
  static qelPathName MakeTempDirPath();

  // A file path if there is such a file, a directory path if there is such a directory, else
  // invalid.
  static qelPathName MakeExistingPath(const qelCString& path);
  static bool DirExists(const qelCString& path);
  static bool FileExists(const qelCString& path);

protected:
  qelPathName(int kind, const char* path);
  qelPathName(const char* dir, const char* fullName);
  qelPathName(const char* dir, const char* name, const char* extension);
  qelPathName(const qelPathName& anchor, const char* rel, int kind);

  // Replaces the path by a whole path text and cuts it; invalid if the text is not of that kind.
  void SetFullPath(const char* path, int kind);

  static qelCString NormalizePath(const char* text, bool isDir);
  static qelCString NormalizePathWithAnchor(const char* text, bool isDir, const char* anchor);
  void ComputeFileNameExtensionAndPathKind(int kind);
  void SimplifyPath();
  void UpdatePathKind();

private:
  int m_kind;                         // one of the three kinds
  qelCString m_path;                  // the directory part
  qelCString m_fileName;              // file name without extension
  qelCString m_extension;             // extension without its dot
  mutable qelCString m_fullPathCache; // what c_str built last; this object's alone
};

#endif
