#ifndef QEL_MULTIPLATFORM_QELTIMESYSTEM_H
#define QEL_MULTIPLATFORM_QELTIMESYSTEM_H
//===----------------------------------------------------------------------===//
// What qelTime.cpp asks of a system, and what tests put in its place. Private to
// the time module; each back-end implements its share beside the functions of
// qelTime.h that are wholly the system's.
//
// The rules that hold on every system, such as the refusal of moments before
// 1970, stand in qelTime.cpp.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <ctime>

#include <qel/multiplatform/qelTime.h>

// The system clock. tv is not null.
void qelTimeSystem_GetTimeOfDay(qeltimeval* tv);

// Milliseconds since the system's start, the low 32 bits.
uint32_t qelTimeSystem_GetTickCount();

// The moment of local fields, which are normalised on success. Any negative result is a failure.
int64_t qelTimeSystem_MakeTime(struct tm* fields);

// The local fields, the UTC fields of a moment that is not negative. Return 0, or -1 on failure.
int qelTimeSystem_LocalTime(int64_t moment, struct tm* out);
int qelTimeSystem_GMTime(int64_t moment, struct tm* out);

// Tests --------------------------------------------------------------------------

// Put another clock, another tick in place of the system's; null gives the system's back.
void qelTime_SetClockForTest(void (*clock)(qeltimeval* now));
void qelTime_SetTickCountForTest(uint32_t (*tick)());

#endif
