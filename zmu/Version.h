// Version of the library that these headers belong to. The build takes it from here.
//
//     #if ZMU_VERSION >= ZMU_VERSION_NUMBER(0, 2, 0)
#pragma once

#define ZMU_VERSION_MAJOR 0
#define ZMU_VERSION_MINOR 1
#define ZMU_VERSION_PATCH 0
#define ZMU_VERSION_STRING "0.1.0"

/// A version as one number that grows with it.
#define ZMU_VERSION_NUMBER(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define ZMU_VERSION ZMU_VERSION_NUMBER(ZMU_VERSION_MAJOR, ZMU_VERSION_MINOR, ZMU_VERSION_PATCH)
