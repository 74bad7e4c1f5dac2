#ifndef QEL_MEDIA_DLNAINFOMATCHER_H
#define QEL_MEDIA_DLNAINFOMATCHER_H
//===----------------------------------------------------------------------===//
// qelDLNAInfoMatcher tells which file name extensions go with a DLNA media format
// profile. It has no state; the rows it looks at stand in qelDLNAProfiles.
//
// ERRORS: a null or unknown profile gives an empty text. Names are compared
// whole and with their case.
// COST: linear in the number of profiles.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/Export.h>

class QEL_EXPORT qelDLNAInfoMatcher {
public:
  qelDLNAInfoMatcher() = default;
  qelDLNAInfoMatcher(const qelDLNAInfoMatcher&) = default;

  // Does nothing.
  qelDLNAInfoMatcher& operator=(const qelDLNAInfoMatcher& other);

  // The profile's extensions without dots, separated by "@"; may be empty ("JPEG_SM": "jpg@jpeg").
  static qelCString GetExtensionListFromProfile(const char* profile);

  // The first of them, which is the preferred one ("JPEG_SM": "jpg").
  static qelCString GetExtensionFromProfile(const char* profile);
};

#endif
