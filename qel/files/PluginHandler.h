#ifndef QEL_FILES_PLUGINHANDLER_H
#define QEL_FILES_PLUGINHANDLER_H
//===----------------------------------------------------------------------===//
// One loaded module with a fixed table of named functions. A derived handler
// names the functions and adds typed calls:
//
//   static const char* kNames[] = {"Open", "Close"};
//   class Reader : public qelPluginHandler {
//   public:
//     Reader() : qelPluginHandler(kNames, 2) {}
//     int Open() { return reinterpret_cast<int (*)()>(m_functions[0])(); }
//   };
//
// ERRORS: by result. Causes are level-1 lines of module 29.
// OWNERSHIP: the object owns its module and its table of addresses, not the
// names. A copy shares both, and only one of the two may be destroyed.
// THREADS: loading and unloading belong to one thread. The functions may be
// called from any, but not while Unload runs.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/core/Export.h>

class QEL_EXPORT qelPluginHandler {
public:
  // Nothing is loaded. The names symbolNames[0..count-1] must outlive the object.
  qelPluginHandler(const char** symbolNames, size_t count);
  qelPluginHandler(const qelPluginHandler&) = default;
  qelPluginHandler& operator=(const qelPluginHandler&) = default;

  // Gives the module back; see Finalize.
  virtual ~qelPluginHandler();

  // Loads a module and looks all names up. False if there is no such module, or if a name is missing
  // in it: each missing name is logged, and Unload has run; the table then has what was found.
  // REQUIRES: nothing is loaded.
  bool Load(const qelCString& path);

  // Takes functions[0..count-1] for a plug-in that is linked with the program. Always true.
  // REQUIRES: nothing is loaded.
  bool Load(void (**functions)(void), const char* name);

  // Calls Finalize, then gives the module back. It can be loaded again.
  void Unload();

  // The place to shut the module down, while its code is still there. Called by every Unload, so also
  // for a handler that never finished loading; the base does nothing.
  // INTENDED: the destructor of this class comes too late for a derived Finalize, so a derived class
  // that needs it calls Unload in its own. Pinned by
  // PluginHandlerDestructor.RunsOnlyTheFinalizeOfTheBase.
  virtual void Finalize();

  // The module's name without directory and extension, or the name that was given.
  qelCString GetFileName() const;
  // The path as given; empty for a plug-in that is linked with the program.
  qelCString GetFullPath() const;

protected:
  const char** m_symbolNames; // names of the required functions, not owned
  void (**m_functions)(void); // an address for each name, null until found; owned
  void* m_module;             // the system's handle; null when none is loaded
  qelCString m_fileName;      // the module's name, or the one given
  qelCString m_fullPath;      // the path as given; empty for a static plug-in
  size_t m_symbolCount;       // names
  bool m_isStatic;            // loaded from a table rather than a file
  bool m_isLoaded;            // ready to use
};

#endif
