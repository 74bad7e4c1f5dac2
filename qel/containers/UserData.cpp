#include <qel/containers/UserData.h>

qelUserData::qelUserData() = default;

qelUserData::~qelUserData() = default;

qelUserData_VoidPtr::qelUserData_VoidPtr(void* newValue) : value(newValue) {}

qelUserData_VoidPtr::~qelUserData_VoidPtr() = default;

qelUserData_CString::qelUserData_CString(const qelCString& newValue) : value(newValue) {}

qelUserData_CString::~qelUserData_CString() = default;

qelUserData_2CString::qelUserData_2CString(const qelCString& newValue1, const qelCString& newValue2)
    : value1(newValue1), value2(newValue2) {}

qelUserData_2CString::~qelUserData_2CString() = default;

qelUserData_uint32::qelUserData_uint32(qelULong newValue) : value(newValue) {}

qelUserData_uint32::~qelUserData_uint32() = default;

template class qelRef<qelUserData>;
