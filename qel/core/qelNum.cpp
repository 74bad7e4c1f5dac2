#include <qel/core/qelNum.h>

#include <cstdint>
#include <cstdlib>

int qelNum_ToPointer(const char* text, void** out) {
  char* end = nullptr;
  *out = reinterpret_cast<void*>(static_cast<uintptr_t>(strtoull(text, &end, 0)));
  return end == text ? -3 : static_cast<int>(end - text) * (*end != '\0');
}
