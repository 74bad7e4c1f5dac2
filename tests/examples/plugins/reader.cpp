// A reader that tells what the build says: one of another version, one that does not tell its extensions,
// and one that tells its own facts of a file.

#include <examples/mediaquery/Reader.h>

uint32_t MediaReader_Version(void) {
  return READER_VERSION;
}

const char* MediaReader_Extensions(void) {
  return READER_EXTENSIONS;
}

const char* MediaReader_ClassName(void) {
  return "object.item.imageItem.photo";
}

const char* MediaReader_MIMEType(void) {
  return "image/x-test";
}

int MediaReader_Read(const MediaReaderSource* source, MediaReaderFacts* facts) {
  uint8_t bytes[2];
  if (source->read(source->context, source->size(source->context) - 2, bytes, 2) != 2)
    return 0;
  facts->width = bytes[0];
  facts->height = bytes[1];
  return 1;
}
