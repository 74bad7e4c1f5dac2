#ifndef EXAMPLES_MEDIAQUERY_READER_H
#define EXAMPLES_MEDIAQUERY_READER_H
/*===----------------------------------------------------------------------===
// What a plug-in module offers so that the program reads the headers of another
// kind of file. Plain C: a module needs nothing but this header.
//
// All five functions are exported under their names. The program calls the first
// as soon as the module is loaded, and the others only if it gives this header's
// version.
//
// OWNERSHIP: texts are the module's, and stay until it is unloaded.
// THREADS: Read may be called from any thread, one call at a time.
//===----------------------------------------------------------------------===*/

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define MEDIA_READER_API __declspec(dllexport)
#else
#define MEDIA_READER_API __attribute__((visibility("default")))
#endif

#define MEDIA_READER_VERSION 1

#ifdef __cplusplus
extern "C" {
#endif

/* The bytes of a file. They are hostile: the file may be cut anywhere, or be something else. */
typedef struct MediaReaderSource {
  void* context; /* for the two calls */

  /* Copies bytes from `offset` on into buffer[0..n-1]. Returns how many there were; fewer than n at
  // the end of the file, or when it can't be read. */
  size_t (*read)(void* context, uint64_t offset, void* buffer, size_t n);

  /* The number of bytes in the file. */
  uint64_t (*size)(void* context);
} MediaReaderSource;

/* What a file tells; all fields are 0 at first, which means that it is not known. */
typedef struct MediaReaderFacts {
  uint32_t width;         /* pixels */
  uint32_t height;        /* pixels */
  uint32_t channels;      /* of sound */
  uint32_t sampleRate;    /* samples a second and channel */
  uint32_t bitsPerSample; /* of sound */
  uint32_t hasDuration;   /* not 0: the next field means something */
  uint64_t durationMS;    /* milliseconds */
} MediaReaderFacts;

/* MEDIA_READER_VERSION, as it was when the module was built. */
MEDIA_READER_API uint32_t MediaReader_Version(void);

/* The extensions of the files, without dots and parted by blanks: "aif aiff". */
MEDIA_READER_API const char* MediaReader_Extensions(void);

/* Their class in the ContentDirectory's tree, "object.item.audioItem.musicTrack". */
MEDIA_READER_API const char* MediaReader_ClassName(void);

/* Their MIME type. */
MEDIA_READER_API const char* MediaReader_MIMEType(void);

/* Fills in what the file tells. 0: nothing, or it is not of this kind. */
MEDIA_READER_API int MediaReader_Read(const MediaReaderSource* source, MediaReaderFacts* facts);

#ifdef __cplusplus
}
#endif

#endif
