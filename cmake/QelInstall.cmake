# Install rules, the CMake package "qel" and the pkg-config files.
include(CMakePackageConfigHelpers)
