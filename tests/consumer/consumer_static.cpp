// Links the archive: the plain layer is visible as well.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <qel/plain.h>
#include <qel/qel.h>

int main() {
  char* copy = qelMem_Concat("sta", "tic");
  const bool right = qelCString(copy) == "static";
  std::printf("%s\n", copy);
  free(copy);
  return right ? 0 : 1;
}
