#ifndef QEL_MEDIA_QELDLNAPROFILES_H
#define QEL_MEDIA_QELDLNAPROFILES_H
//===----------------------------------------------------------------------===//
// The table of DLNA media format profiles, with their MIME types and file name
// extensions. Constant; any thread.
//===----------------------------------------------------------------------===//

#include <cstddef>

// Where a column holds several entries, "@" separates them and the first one is preferred.
struct qelDLNAProfile {
  const char* profile;    // unique in the table; null in the end row
  const char* mime;       // one or more MIME types; null in the end row
  const char* extensions; // none or more, without dots; "" for none, null in the end row
};

constexpr size_t qelDLNAProfileCount = 82; // rows ahead of the end row

extern const qelDLNAProfile qelDLNAProfiles[qelDLNAProfileCount + 1];

#endif
