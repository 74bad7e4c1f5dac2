#ifndef EXAMPLES_MEDIAQUERY_MEDIATYPES_H
#define EXAMPLES_MEDIAQUERY_MEDIATYPES_H
//===----------------------------------------------------------------------===//
// Which files count as media, by the extension of their name.
//===----------------------------------------------------------------------===//

#include "MediaHeader.h"

namespace mediaquery {

struct MediaType {
  const char* extension;                        // lower case, without its dot
  const char* className;                        // the item's class in the ContentDirectory's tree
  const char* mime;                             // MIME type
  bool (*readHeader)(ByteSource&, MediaFacts*); // null: the file's first bytes are not looked at
};

// The row of an extension, in any case; null if it is no media file's.
const MediaType* FindMediaType(const char* extension);

} // namespace mediaquery

#endif
