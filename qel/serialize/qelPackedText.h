#ifndef QEL_SERIALIZE_QELPACKEDTEXT_H
#define QEL_SERIALIZE_QELPACKEDTEXT_H
//===----------------------------------------------------------------------===//
// A packed block as text: its bytes, with "%" and two upper-case digits for those
// that may not stand in a quoted text as they are.
//
// ERRORS: a text that holds no valid block gives no block; see the reader.
// THREADS: one at a time for each block.
//===----------------------------------------------------------------------===//

#include <qel/serialize/ISerialize.h>
#include <qel/serialize/qelPackedData.h>

// For each byte below 128 whether it passes as it stands: 1 for 0x20 to 0x7E but double quote, percent
// and backslash. Bytes from 128 up always pass.
extern const unsigned char qelPackedSafeChars[128];

// Sends the text of the block to target.String, and returns its status. Null, or a record that gave
// its block away, is the empty text. The block is finished.
int qelPackedText_Write(qelPackedData_t* data, qelISerialize& target);

// The block in a text, for qelPackedData_Delete. Null for the empty text, for a block whose first byte
// is 0 (an unfinished one, or any whose size is a multiple of 256), and, with a log line, for one that
// is not valid: texts come from outside.
qelPackedData_t* qelPackedText_Read(const char* text);

#endif
