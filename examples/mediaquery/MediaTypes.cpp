#include "MediaTypes.h"

#include <qel/core/CString.h>

namespace mediaquery {

static const char kPhoto[] = "object.item.imageItem.photo";
static const char kTrack[] = "object.item.audioItem.musicTrack";
static const char kMovie[] = "object.item.videoItem.movie";

// clang-format off
static const MediaType kMediaTypes[] = {
    // extension, class, MIME type, header
    {"png",  kPhoto, "image/png",       ReadPNGHeader},
    {"jpg",  kPhoto, "image/jpeg",      ReadJPEGHeader},
    {"jpeg", kPhoto, "image/jpeg",      ReadJPEGHeader},
    {"jpe",  kPhoto, "image/jpeg",      ReadJPEGHeader},
    {"gif",  kPhoto, "image/gif",       ReadGIFHeader},
    {"svg",  kPhoto, "image/svg+xml",   nullptr},
    {"webp", kPhoto, "image/webp",      nullptr},
    {"bmp",  kPhoto, "image/bmp",       nullptr},
    {"tif",  kPhoto, "image/tiff",      nullptr},
    {"tiff", kPhoto, "image/tiff",      nullptr},
    {"wav",  kTrack, "audio/wav",       ReadWAVHeader},
    {"mp3",  kTrack, "audio/mpeg",      nullptr},
    {"ogg",  kTrack, "audio/ogg",       nullptr},
    {"oga",  kTrack, "audio/ogg",       nullptr},
    {"opus", kTrack, "audio/ogg",       nullptr},
    {"flac", kTrack, "audio/flac",      nullptr},
    {"m4a",  kTrack, "audio/mp4",       nullptr},
    {"aac",  kTrack, "audio/vnd.dlna.adts", nullptr},
    {"ac3",  kTrack, "audio/vnd.dolby.dd-raw", nullptr},
    {"wma",  kTrack, "audio/x-ms-wma",  nullptr},
    {"aif",  kTrack, "audio/aiff",      nullptr},
    {"aiff", kTrack, "audio/aiff",      nullptr},
    {"mp4",  kMovie, "video/mp4",       nullptr},
    {"m4v",  kMovie, "video/mp4",       nullptr},
    {"mpg",  kMovie, "video/mpeg",      nullptr},
    {"mpeg", kMovie, "video/mpeg",      nullptr},
    {"mkv",  kMovie, "video/x-matroska", nullptr},
    {"webm", kMovie, "video/webm",      nullptr},
    {"ogv",  kMovie, "video/ogg",       nullptr},
    {"avi",  kMovie, "video/x-msvideo", nullptr},
    {"mov",  kMovie, "video/quicktime", nullptr},
    {"wmv",  kMovie, "video/x-ms-wmv",  nullptr},
    {"asf",  kMovie, "video/x-ms-asf",  nullptr},
    {"3gp",  kMovie, "video/3gpp",      nullptr},
};
// clang-format on

const MediaType* FindMediaType(const char* extension) {
  const qelCString wanted(extension);
  for (const MediaType& type : kMediaTypes)
    if (wanted.CompareNoCase(type.extension) == 0)
      return &type;
  return nullptr;
}

} // namespace mediaquery
