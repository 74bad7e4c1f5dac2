#ifndef QEL_FILES_PLUGINLOADER_H
#define QEL_FILES_PLUGINLOADER_H
//===----------------------------------------------------------------------===//
// Loads the modules of a directory, with a handler for each. A derived loader
// names the kind of handler, and may name another directory or skip modules.
//
// ERRORS: by result; a module that fails is logged (level 1, module 29) and does
// not end the scan.
// OWNERSHIP: the object owns its handlers. A copy shares them, and only one of
// the two may be destroyed.
// THREADS: one thread at a time.
//===----------------------------------------------------------------------===//

#include <qel/containers/qelPtrList.h>
#include <qel/core/CString.h>
#include <qel/core/Export.h>

class qelPluginHandler;

class QEL_EXPORT qelPluginLoader {
public:
  // No handlers.
  qelPluginLoader();
  qelPluginLoader(const qelPluginLoader&) = default;
  qelPluginLoader& operator=(const qelPluginLoader&) = default;

  // Unloads all, and deletes the handlers.
  virtual ~qelPluginLoader();

  // The directory that is scanned: "Plugins" beside the running program.
  virtual qelCString GetPluginsPath();

  // Loads the modules whose names match the pattern, the system's ending added to it: "*" loads all.
  // With firstOnly the scan ends at the first that loads. True if one did. The order is the
  // directory's. A second call adds to the first, modules that are loaded already included.
  virtual bool LoadPlugins(const qelCString& pattern, bool firstOnly);

  // For a loader whose plug-ins are linked with the program, to hand their tables to handlers. The
  // base returns false.
  virtual bool LoadPluginsStatic(const qelCString& pattern, bool firstOnly);

  // Unloads each plug-in, in the order they were loaded. The handlers stay.
  virtual void UnloadPlugins();

  // Whether a module is to be loaded, by its name with extension; the name is empty for a directory.
  // The base returns true.
  virtual bool IsPluginActive(const qelCString& name);

  // A new handler with nothing loaded, which the loader deletes.
  virtual qelPluginHandler* CreateHandler() = 0;

protected:
  qelPtrList* m_handlers; // owned; its items are qelPluginHandler
};

#endif
