#ifndef QEL_TESTS_POSIX_PERMISSIONS_H
#define QEL_TESTS_POSIX_PERMISSIONS_H
//===----------------------------------------------------------------------===//
// Permissions bind nobody who is root: while this object lives, the process acts
// as the user nobody if it was root.
//===----------------------------------------------------------------------===//

#include <stdexcept>

#include <unistd.h>

class AsNobody {
public:
  AsNobody() : m_wasRoot(::geteuid() == 0) {
    if (m_wasRoot && ::seteuid(65534) != 0)
      throw std::runtime_error("cannot become nobody");
  }
  ~AsNobody() {
    if (m_wasRoot && ::seteuid(0) != 0)
      _exit(99);
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

private:
  bool m_wasRoot;
};

#endif
