#!/usr/bin/env bash
# Makes a Debian machine ready for ThreadSanitizer: Qt Core built with it, from the sources of the
# version that is installed here, so that the sanitizer sees Qt's locks and what they guard.
#
#   cmake/tsan/prepare.sh          prints what to give as CMAKE_PREFIX_PATH; progress goes to stderr
#
# What is kept, and where, is told in ../kept.sh. Qt's own tools are those of the machine.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/../kept.sh"

flavour=tsan
packages=(g++ cmake ninja-build dpkg-dev qt6-base-dev qt6-base-dev-tools)
# The sanitizer does not see fences, of which Qt has few, and warns of each.
flags="-O1 -g1 -fno-omit-frame-pointer -fsanitize=thread -Wno-tsan"
build_options=(-DCMAKE_C_FLAGS_RELEASE="$flags" -DCMAKE_CXX_FLAGS_RELEASE="$flags"
               -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread)
# Libraries that Qt brings along are built with it. What it could use of the machine besides is not.
qt_options=(-DQT_HOST_PATH=/usr -DQT_FORCE_FIND_TOOLS=ON -DFEATURE_system_pcre2=OFF
            -DFEATURE_system_doubleconversion=OFF -DFEATURE_glib=OFF -DFEATURE_icu=OFF
            -DFEATURE_zstd=OFF -DFEATURE_journald=OFF -DFEATURE_slog2=OFF)

begin_keeping
compiler=$("${CXX:-g++}" --version | head -n 1)
recipe=1 # To be raised when an option above changes what is built.
keep qt "$(upstream_version qt6-base-dev)" qt_core
end_keeping
