#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/media/DLNAInfoMatcher.h>
#include <qel/media/qelDLNAProfiles.h>

namespace {

// Profiles that follow each other in the table and share the two other columns.
struct ProfileRun {
  std::vector<const char*> profiles;
  const char* mime;
  const char* extensions;
};

const ProfileRun kRuns[] = {
    {{"JPEG_SM", "JPEG_MED", "JPEG_LRG", "JPEG_TN", "JPEG_LRG_ICO", "JPEG_SM_ICO"},
     "image/jpeg",
     "jpg@jpeg"},
    {{"PNG_TN", "PNG_SM_ICO", "PNG_LRG_ICO", "PNG_LRG"}, "image/png", "png"},
    {{"GIF_LRG"}, "image/gif", "gif"},
    {{"AC3"}, "audio/vnd.dolby.dd-raw", "ac3"},
    {{"AMR_3GPP"}, "audio/3gpp@audio/mp4", "amr"},
    {{"AMR_WBplus"}, "audio/3gpp", "awb"},
    {{"LPCM", "LPCM_low", "LPCM_MPS"}, "audio/L16", "pcm@lpcm"},
    {{"MP3", "MP3X"}, "audio/mpeg", "mp3"},
    {{"AAC_ADTS", "AAC_ADTS_320", "AAC_MULT5_ADTS", "HEAAC_L2_ADTS", "HEAAC_L2_ADTS_320",
      "HEAAC_L3_ADTS", "HEAAC_MULT5_ADTS"},
     "audio/vnd.dlna.adts",
     "aac"},
    {{"AAC_ISO", "AAC_ISO_320", "AAC_MULT5_ISO", "HEAAC_L2_ISO", "HEAAC_L2_ISO_320", "HEAAC_L3_ISO",
      "HEAAC_MULT5_ISO"},
     "audio/3gpp@audio/mp4",
     "3gp@mp4"},
    {{"ATRAC3plus"}, "audio/x-sony-oma", "aa3@oma@at3"},
    {{"VC1_ASF_AP_L1_WMA", "VC1_ASF_AP_L2_WMA"}, "video/x-ms-asf", "asf"},
    {{"VC1_TS_AP_L1_WMA_ISO", "VC1_TS_AP_L2_WMA_ISO", "VC1_TS_AP_L1_AC3_ISO",
      "VC1_TS_AP_L2_AC3_ISO", "VC1_TS_HD_DTS_ISO", "VC1_TS_HD_DTSHD_HRA_ISO",
      "VC1_TS_HD_DTSHD_MA_ISO"},
     "video/mpeg",
     "wmv"},
    {{"VC1_TS_HD_DTS_T", "VC1_TS_HD_DTSHD_HRA_T", "VC1_TS_HD_DTSHD_MA_T"},
     "video/vnd.dlna.mpeg-tts",
     ""},
    {{"VC1_PS_HD_DTS", "VC1_PS_HD_DTSHD_HRA", "VC1_PS_HD_DTSHD_MA", "VC1_PS_HD_DTSHD"},
     "video/mpeg",
     ""},
    {{"WMVMED_BASE", "WMVMED_FULL", "WMVMED_PRO", "WMVHIGH_FULL", "WMVHIGH_PRO", "WMVHM_BASE",
      "WMVSPLL_BASE", "WMVSPML_BASE", "WMVSPML_MP3"},
     "video/x-ms-wmv",
     "wmv"},
    {{"MPEG1"}, "video/mpeg", "mpg@mpeg@mp1"},
    {{"MP2_MPS"}, "audio/mpeg", ""},
    {{"MLP"}, "audio/vnd.dolby.mlp", "mlp"},
    {{"EAC3"}, "audio/eac3", "ac3"},
    {{"DTSHD_HRA", "DTSHD_MA", "DTSHD_LBR"}, "audio/vnd.dts.hd", "dts"},
    {{"DTS"}, "audio/vnd-dts", "dts"},
    {{"WMABASE", "WMAFULL", "WMAPRO"}, "audio/x-ms-wma", "wma"},
    {{"ALS_ISO", "ALS_MULT5_ISO"}, "audio/mp4", "mp4"},
    {{"HEAACv2_L2_MPS_DAB"}, "audio/x-dab", ""},
    {{"BSAC_ISO", "BSAC_MULT5_ISO"}, "audio/mp4@audio/3gpp", "3gp@mp4"},
    {{"MPEG_PS_NTSC", "MPEG_PS_PAL", "MPEG_PS_SD_DTS", "MPEG_PS_HD_DTS", "MPEG_PS_HD_DTSHD_MA",
      "MPEG_PS_HD_DTSHD_HRA", "MPEG_PS_HD_DTSHD"},
     "video/mpeg",
     "mpg"},
};

std::string List(const char* profile) {
  return qelDLNAInfoMatcher::GetExtensionListFromProfile(profile).c_str();
}

std::string Extension(const char* profile) {
  return qelDLNAInfoMatcher::GetExtensionFromProfile(profile).c_str();
}

} // namespace

TEST(qelDLNAProfiles, HoldsEveryRowInOrder) {
  size_t at = 0;
  for (const ProfileRun& run : kRuns)
    for (const char* profile : run.profiles) {
      ASSERT_LT(at, qelDLNAProfileCount) << profile;
      EXPECT_STREQ(qelDLNAProfiles[at].profile, profile);
      EXPECT_STREQ(qelDLNAProfiles[at].mime, run.mime) << profile;
      EXPECT_STREQ(qelDLNAProfiles[at].extensions, run.extensions) << profile;
      ++at;
    }
  EXPECT_EQ(at, 82u);
}

TEST(qelDLNAProfiles, EndsWithARowOfNulls) {
  EXPECT_EQ(qelDLNAProfiles[82].profile, nullptr);
  EXPECT_EQ(qelDLNAProfiles[82].mime, nullptr);
  EXPECT_EQ(qelDLNAProfiles[82].extensions, nullptr);
}

TEST(qelDLNAProfiles, NamesEachProfileOnce) {
  std::set<std::string> names;
  for (size_t i = 0; i < qelDLNAProfileCount; ++i)
    EXPECT_TRUE(names.insert(qelDLNAProfiles[i].profile).second) << qelDLNAProfiles[i].profile;
}

TEST(DLNAInfoMatcher, GivesTheListAndItsFirstEntryForEveryProfile) {
  for (const ProfileRun& run : kRuns)
    for (const char* profile : run.profiles) {
      const std::string list = run.extensions;
      EXPECT_EQ(List(profile), list);
      EXPECT_EQ(Extension(profile), list.substr(0, list.find('@')));
    }
}

TEST(DLNAInfoMatcher, GivesThePreferredExtensionFirst) {
  EXPECT_EQ(List("JPEG_SM"), "jpg@jpeg");
  EXPECT_EQ(Extension("JPEG_SM"), "jpg");
  EXPECT_EQ(List("MPEG1"), "mpg@mpeg@mp1");
  EXPECT_EQ(Extension("MPEG1"), "mpg");
}

TEST(DLNAInfoMatcher, GivesEmptyForAProfileWithoutExtensions) {
  EXPECT_EQ(List("MP2_MPS"), "");
  EXPECT_EQ(Extension("MP2_MPS"), "");
}

TEST(DLNAInfoMatcher, RegardsCase) {
  EXPECT_EQ(List("jpeg_sm"), "");
  EXPECT_EQ(Extension("jpeg_sm"), "");
}

TEST(DLNAInfoMatcher, GivesEmptyForNull) {
  EXPECT_EQ(List(nullptr), "");
  EXPECT_EQ(Extension(nullptr), "");
}

TEST(DLNAInfoMatcher, ComparesWholeNames) {
  EXPECT_EQ(List("JPEG"), "");
  EXPECT_EQ(List("JPEG_SM_"), "");
  EXPECT_EQ(List(""), "");
}

TEST(DLNAInfoMatcher, LetsTwoProfilesShareAnExtension) {
  EXPECT_EQ(Extension("EAC3"), "ac3");
  EXPECT_EQ(Extension("AC3"), "ac3");
}

TEST(DLNAInfoMatcher, AssignsToNothingAndReturnsItself) {
  qelDLNAInfoMatcher a;
  const qelDLNAInfoMatcher b;
  EXPECT_EQ(&(a = b), &a);
}
