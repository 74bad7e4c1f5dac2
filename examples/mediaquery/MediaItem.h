#ifndef EXAMPLES_MEDIAQUERY_MEDIAITEM_H
#define EXAMPLES_MEDIAQUERY_MEDIAITEM_H
//===----------------------------------------------------------------------===//
// Makes the description of one media file: what its name, its times and its first
// bytes tell.
//
// Keys of the table, beyond the library's own "cn" and "mt":
//   "id"  path from the searched folder on      "pa"  that of its folder; "0" for the searched one
//   "si"  bytes                                 "du"  milliseconds
//   "wi" "he"  pixels                           "ch" "sr" "bs"  channels, samples a second, bits
//===----------------------------------------------------------------------===//

#include <qel/files/PathName.h>
#include <qel/media/MediaInfo.h>

#include "MediaTypes.h"

namespace mediaquery {

// Fills in an empty item. `root` is the searched folder, the file lies somewhere below it.
// False: the file is gone by now, is no ordinary file, or can't be opened.
bool DescribeFile(const qelPathName& file, const qelPathName& root, const MediaType& type,
                  qelMediaInfo* item);

} // namespace mediaquery

#endif
