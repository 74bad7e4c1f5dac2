#ifndef QEL_MULTIPLATFORM_QELPLUGIN_H
#define QEL_MULTIPLATFORM_QELPLUGIN_H
//===----------------------------------------------------------------------===//
// Modules that a program loads while it runs: where they lie, how their names
// end, loading, symbols.
//
// ERRORS: null, with a level-1 line of module 29.
// POSIX: the system gives no error number, so the line shows 0, and a second one
// has the system's text.
// OWNERSHIP: a module belongs to whoever loaded it, until qelPlugin_Unload. Text
// results are new where it is said.
// THREADS: any, as far as the system's own rules for a module go.
//===----------------------------------------------------------------------===//

// What a module's file name ends in. Windows: ".dll". POSIX: ".so".
const char* qelPlugin_GetFileExtension();

// What a module's file name begins with: nothing.
const char* qelPlugin_GetFilePrefix();

// The directory "Plugins" beside the running program, without a separator at its end. The caller
// frees the text with free.
char* qelPlugin_GetDefaultPath();

// Loads a module and all that it needs; loading it again gives the same module once more, to be
// unloaded as often. A name with a separator is normalised (qelPath_Normalize, no anchor); one
// without is looked for by the system's own rules.
// Windows: the name is UTF-8 and crosses in UTF-16.
// POSIX: the module's symbols are for nobody else to link with.
void* qelPlugin_Load(const char* file);

// Gives a module back.
void qelPlugin_Unload(void* module);

// The address of a symbol of the module.
void* qelPlugin_GetSymbol(void* module, const char* name);

#endif
