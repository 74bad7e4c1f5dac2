// Links the shared library: classes only.
#include <cstdio>

#include <qel/qel.h>

int main() {
  qelCString text("qel");
  text.Printf("%s %d", "shared", 1);
  std::printf("%s\n", text.c_str());
  return text == "shared 1" ? 0 : 1;
}
