#include <qel/threads/Message.h>

qelMessage::qelMessage() : qelMessage(/*newID=*/0, nullptr, nullptr) {}

qelMessage::qelMessage(qelLong newID, void* newParam1, void* newParam2)
    : next(nullptr), id(newID), param1(newParam1), param2(newParam2) {}
