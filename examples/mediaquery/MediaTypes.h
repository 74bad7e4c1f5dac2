#ifndef EXAMPLES_MEDIAQUERY_MEDIATYPES_H
#define EXAMPLES_MEDIAQUERY_MEDIATYPES_H
//===----------------------------------------------------------------------===//
// Which files count as media, by the extension of their name: a table of the
// program's own, which settings and plug-ins change before a search begins.
//
// THREADS: a search may ask from any thread; the table changes only while none
// runs.
//===----------------------------------------------------------------------===//

#include <functional>
#include <string>

#include "MediaHeader.h"

namespace mediaquery {

// Fills in what a file's bytes tell. Empty: they are not looked at.
using HeaderReader = std::function<bool(ByteSource&, MediaFacts*)>;

struct MediaType {
  std::string className;   // the item's class in the ContentDirectory's tree
  std::string mime;        // MIME type
  HeaderReader readHeader; // may be empty
};

extern const char kPhotoClass[]; // the classes of the program's own rows
extern const char kTrackClass[];
extern const char kMovieClass[];

// The row of an extension, in any case; null if it is no media file's. Changes of the table end its
// life.
const MediaType* FindMediaType(const char* extension);

// Adds or replaces the row of an extension.
void SetMediaType(const std::string& extension, const MediaType& type);

// Without such a row nothing happens.
void RemoveMediaType(const std::string& extension);

// Back to the program's own rows.
void ResetMediaTypes();

} // namespace mediaquery

#endif
