#ifndef QEL_TESTS_SUPPORT_HIDDEN_H
#define QEL_TESTS_SUPPORT_HIDDEN_H
//===----------------------------------------------------------------------===//
// Hides files, by each system's own way. Link qel_test_hidden.
//===----------------------------------------------------------------------===//

#include <string>

// Hides an entry and returns its new path: a "." goes ahead of its name on every system, so that
// portable tests see the same names.
std::string MakeHidden(const std::string& path);

#endif
