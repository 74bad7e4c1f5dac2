#ifndef QEL_CORE_QELNUM_H
#define QEL_CORE_QELNUM_H

// A pointer value: hexadecimal if "0x" or "0X" and a hexadecimal digit stand behind blanks and a "+",
// decimal otherwise. 0: the whole text is valid.
int qelNum_ToPointer(const char* text, void** out);

#endif
