#ifndef QEL_CONTAINERS_USERDATA_H
#define QEL_CONTAINERS_USERDATA_H
//===----------------------------------------------------------------------===//
// Counted payloads, for a client that wants to hang a value on something:
// qelRef<qelUserData> holds any of them.
//
// Copies and assignments take the count of their source along with the value, as
// those of qelRefCounted do. Texts share the block of the text they come from.
//
// THREADS: the count as in qelRefCounted; the values belong to one thread at a
// time.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/containers/Ref.h>
#include <qel/containers/RefCounted.h>
#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelUserData : public qelRefCounted {
protected:
  qelUserData();
  qelUserData(const qelUserData&) = default;
  qelUserData& operator=(const qelUserData&) = default;
  ~qelUserData() override;
};

// A pointer, which stays the client's: the end of the payload does nothing with it.
class QEL_EXPORT qelUserData_VoidPtr : public qelUserData {
public:
  explicit qelUserData_VoidPtr(void* newValue);
  qelUserData_VoidPtr(const qelUserData_VoidPtr&) = default;
  qelUserData_VoidPtr& operator=(const qelUserData_VoidPtr&) = default;
  ~qelUserData_VoidPtr() override;

  void* value; // not owned
};

// A text.
class QEL_EXPORT qelUserData_CString : public qelUserData {
public:
  explicit qelUserData_CString(const qelCString& newValue);
  qelUserData_CString(const qelUserData_CString&) = default;
  qelUserData_CString& operator=(const qelUserData_CString&) = default;
  ~qelUserData_CString() override;

  qelCString value;
};

// Two texts.
class QEL_EXPORT qelUserData_2CString : public qelUserData {
public:
  qelUserData_2CString(const qelCString& newValue1, const qelCString& newValue2);
  qelUserData_2CString(const qelUserData_2CString&) = default;
  qelUserData_2CString& operator=(const qelUserData_2CString&) = default;
  ~qelUserData_2CString() override;

  qelCString value1;
  qelCString value2;
};

// A number of 32 bits.
class QEL_EXPORT qelUserData_uint32 : public qelUserData {
public:
  explicit qelUserData_uint32(qelULong newValue);
  qelUserData_uint32(const qelUserData_uint32&) = default;
  qelUserData_uint32& operator=(const qelUserData_uint32&) = default;
  ~qelUserData_uint32() override;

  uint32_t value;
};

extern template class QEL_EXPORT qelRef<qelUserData>;

#endif
