#include "MediaTypes.h"

#include <map>

#include <qel/core/CString.h>

namespace mediaquery {

const char kPhotoClass[] = "object.item.imageItem.photo";
const char kTrackClass[] = "object.item.audioItem.musicTrack";
const char kMovieClass[] = "object.item.videoItem.movie";

namespace {

struct Row {
  const char* extension;                        // lower case, without its dot
  const char* className;                        // one of the three
  const char* mime;                             // MIME type
  bool (*readHeader)(ByteSource&, MediaFacts*); // null: the file's first bytes are not looked at
};

using Table = std::map<std::string, MediaType>; // by extensions in lower case

} // namespace

// clang-format off
static const Row kRows[] = {
    // extension, class, MIME type, header
    {"png",  kPhotoClass, "image/png",       ReadPNGHeader},
    {"jpg",  kPhotoClass, "image/jpeg",      ReadJPEGHeader},
    {"jpeg", kPhotoClass, "image/jpeg",      ReadJPEGHeader},
    {"jpe",  kPhotoClass, "image/jpeg",      ReadJPEGHeader},
    {"gif",  kPhotoClass, "image/gif",       ReadGIFHeader},
    {"svg",  kPhotoClass, "image/svg+xml",   nullptr},
    {"webp", kPhotoClass, "image/webp",      nullptr},
    {"bmp",  kPhotoClass, "image/bmp",       nullptr},
    {"tif",  kPhotoClass, "image/tiff",      nullptr},
    {"tiff", kPhotoClass, "image/tiff",      nullptr},
    {"wav",  kTrackClass, "audio/wav",       ReadWAVHeader},
    {"mp3",  kTrackClass, "audio/mpeg",      nullptr},
    {"ogg",  kTrackClass, "audio/ogg",       nullptr},
    {"oga",  kTrackClass, "audio/ogg",       nullptr},
    {"opus", kTrackClass, "audio/ogg",       nullptr},
    {"flac", kTrackClass, "audio/flac",      nullptr},
    {"m4a",  kTrackClass, "audio/mp4",       nullptr},
    {"aac",  kTrackClass, "audio/vnd.dlna.adts", nullptr},
    {"ac3",  kTrackClass, "audio/vnd.dolby.dd-raw", nullptr},
    {"wma",  kTrackClass, "audio/x-ms-wma",  nullptr},
    {"aif",  kTrackClass, "audio/aiff",      nullptr},
    {"aiff", kTrackClass, "audio/aiff",      nullptr},
    {"mp4",  kMovieClass, "video/mp4",       nullptr},
    {"m4v",  kMovieClass, "video/mp4",       nullptr},
    {"mpg",  kMovieClass, "video/mpeg",      nullptr},
    {"mpeg", kMovieClass, "video/mpeg",      nullptr},
    {"mkv",  kMovieClass, "video/x-matroska", nullptr},
    {"webm", kMovieClass, "video/webm",      nullptr},
    {"ogv",  kMovieClass, "video/ogg",       nullptr},
    {"avi",  kMovieClass, "video/x-msvideo", nullptr},
    {"mov",  kMovieClass, "video/quicktime", nullptr},
    {"wmv",  kMovieClass, "video/x-ms-wmv",  nullptr},
    {"asf",  kMovieClass, "video/x-ms-asf",  nullptr},
    {"3gp",  kMovieClass, "video/3gpp",      nullptr},
};
// clang-format on

static Table MakeTable() {
  Table table;
  for (const Row& row : kRows)
    table[row.extension] = {row.className, row.mime, row.readHeader};
  return table;
}

static Table& TheTable() {
  static Table table = MakeTable();
  return table;
}

static std::string KeyOf(const char* extension) {
  return qelCString(extension).Lower().c_str();
}

const MediaType* FindMediaType(const char* extension) {
  const Table& table = TheTable();
  const auto found = table.find(KeyOf(extension));
  return found != table.end() ? &found->second : nullptr;
}

void SetMediaType(const std::string& extension, const MediaType& type) {
  TheTable()[KeyOf(extension.c_str())] = type;
}

void RemoveMediaType(const std::string& extension) {
  TheTable().erase(KeyOf(extension.c_str()));
}

void ResetMediaTypes() {
  TheTable() = MakeTable();
}

} // namespace mediaquery
