# The sources of mediaquery but for its main function, as a library: for the program, for tests and for
# fuzz targets.

set(mediaquery_sources
  Catalogue.cpp
  Console.cpp
  Criteria.cpp
  FolderWalk.cpp
  Interrupt.cpp
  MediaHeader.cpp
  MediaItem.cpp
  MediaTypes.cpp
  Options.cpp
  Output.cpp
  Properties.cpp
  Readers.cpp
  Settings.cpp
  Search.cpp
  Text.cpp
  Watch.cpp
  Worker.cpp
)
set(mediaquery_libraries "")
if(WIN32)
  list(APPEND mediaquery_sources win32/Platform.win32.cpp)
  list(APPEND mediaquery_libraries shell32)
else()
  list(APPEND mediaquery_sources posix/Platform.posix.cpp)
endif()
list(TRANSFORM mediaquery_sources PREPEND ${CMAKE_CURRENT_LIST_DIR}/)

if(NOT TARGET mediaquery_parts)
  add_library(mediaquery_parts STATIC EXCLUDE_FROM_ALL ${mediaquery_sources})
  target_link_libraries(mediaquery_parts PRIVATE qel_options PUBLIC qel::static qel::plugins ${mediaquery_libraries})
endif()

# The sample plug-in's source, for tests and fuzz targets that call it without loading it.
if(NOT TARGET mediaquery_aiff_parts)
  add_library(mediaquery_aiff_parts STATIC EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/plugins/aiff.cpp)
  target_link_libraries(mediaquery_aiff_parts PRIVATE qel_options)
endif()
