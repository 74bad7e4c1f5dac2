#include <qel/serialize/EmptySerialize.h>

int qelEmptySerialize::MapBegin() {
  return 0;
}

int qelEmptySerialize::MapKey(const char*, bool) {
  return 0;
}

int qelEmptySerialize::MapEnd() {
  return 0;
}

int qelEmptySerialize::ArrayBegin() {
  return 0;
}

int qelEmptySerialize::ArrayItemSeparator() {
  return 0;
}

int qelEmptySerialize::ArrayEnd() {
  return 0;
}

int qelEmptySerialize::String(const qelWChar*, bool) {
  return 0;
}

int qelEmptySerialize::String(const char*, bool) {
  return 0;
}

int qelEmptySerialize::Boolean(bool) {
  return 0;
}

int qelEmptySerialize::U32(qelULong) {
  return 0;
}

int qelEmptySerialize::S32(qelLong) {
  return 0;
}

int qelEmptySerialize::U64(unsigned long long) {
  return 0;
}

int qelEmptySerialize::S64(long long) {
  return 0;
}

int qelEmptySerialize::Float(double) {
  return 0;
}

int qelEmptySerialize::Null() {
  return 0;
}
