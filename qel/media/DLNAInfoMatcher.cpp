#include <qel/media/DLNAInfoMatcher.h>

#include <cstring>

#include <qel/media/qelDLNAProfiles.h>

qelDLNAInfoMatcher& qelDLNAInfoMatcher::operator=(const qelDLNAInfoMatcher&) {
  return *this;
}

qelCString qelDLNAInfoMatcher::GetExtensionListFromProfile(const char* profile) {
  if (profile == nullptr)
    return qelCString();
  for (const qelDLNAProfile* row = qelDLNAProfiles; row->profile != nullptr; ++row)
    if (std::strcmp(row->profile, profile) == 0)
      return qelCString(row->extensions);
  return qelCString();
}

qelCString qelDLNAInfoMatcher::GetExtensionFromProfile(const char* profile) {
  return GetExtensionListFromProfile(profile).BeforeFirst('@');
}
