#ifndef QEL_CORE_EXPORT_H
#define QEL_CORE_EXPORT_H
//===----------------------------------------------------------------------===//
// QEL_EXPORT marks what the shared library offers: the classes of the upper
// layer, qelStringHashMap_ForEach and the named data objects. All else is
// hidden. A program that links the archive instead defines QEL_STATIC (the
// CMake target qel::static does that) and sees the plain layer as well.
//===----------------------------------------------------------------------===//

#if defined(_WIN32)
#if defined(QEL_BUILDING)
#define QEL_EXPORT __declspec(dllexport)
#elif defined(QEL_STATIC)
#define QEL_EXPORT
#else
#define QEL_EXPORT __declspec(dllimport)
#endif
#else
#define QEL_EXPORT __attribute__((visibility("default")))
#endif

#endif
