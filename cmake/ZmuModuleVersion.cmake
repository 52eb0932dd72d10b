# Version data for a module, which `zmu` shows in logs, system information and error boxes:
#
#   zmu_module_version(server
#     COMPANY_NAME "Example Ltd."
#     PRODUCT_NAME "Example Server"
#     PRODUCT_VERSION 4.1
#     FILE_VERSION 4.1.0.42)
#
# TARGET is a shared library, module or executable of this folder. Values are any text; one that is
# not given is not there. LANGUAGE is the language and code page that they are found under, two
# times four hexadecimal digits: by default 040904B0, English and UTF-16. A second call with another
# LANGUAGE adds that one.
#
# On Windows this is a version resource. Elsewhere it is an ELF note in a section and segment of its
# own, which survives `strip`.
include_guard(GLOBAL)

function(zmu_module_version target)
  set(keys COMPANY_NAME FILE_DESCRIPTION FILE_VERSION INTERNAL_NAME LEGAL_COPYRIGHT LEGAL_TRADEMARKS
    ORIGINAL_FILENAME PRODUCT_NAME PRODUCT_VERSION)
  set(names CompanyName FileDescription FileVersion InternalName LegalCopyright LegalTrademarks
    OriginalFilename ProductName ProductVersion)
  cmake_parse_arguments(PARSE_ARGV 1 version "" "LANGUAGE;${keys}" "")

  if(NOT TARGET ${target})
    message(FATAL_ERROR "zmu_module_version: there is no target ${target}")
  endif()
  get_target_property(type ${target} TYPE)
  if(NOT type MATCHES "^(SHARED_LIBRARY|MODULE_LIBRARY|EXECUTABLE)$")
    message(FATAL_ERROR "zmu_module_version: ${target} is no module but a ${type}")
  endif()
  if(DEFINED version_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zmu_module_version: what is ${version_UNPARSED_ARGUMENTS}?")
  endif()
  if(DEFINED version_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "zmu_module_version: no value for ${version_KEYWORDS_MISSING_VALUES}")
  endif()
  if(NOT DEFINED version_LANGUAGE)
    set(version_LANGUAGE 040904B0)
  endif()
  if(NOT version_LANGUAGE MATCHES "^[0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f]$")
    message(FATAL_ERROR "zmu_module_version: LANGUAGE is eight hexadecimal digits, not ${version_LANGUAGE}")
  endif()
  string(TOUPPER ${version_LANGUAGE} version_LANGUAGE)
  get_target_property(known ${target} ZMU_VERSION_LANGUAGES)
  if(version_LANGUAGE IN_LIST known)
    message(FATAL_ERROR "zmu_module_version: ${target} has version data in ${version_LANGUAGE} already")
  endif()
  set_property(TARGET ${target} APPEND PROPERTY ZMU_VERSION_LANGUAGES ${version_LANGUAGE})

  if(WIN32)
    _zmu_version_resource(source)
  else()
    _zmu_version_note(source)
  endif()
  target_sources(${target} PRIVATE ${source})
endfunction()

# Writes the version note into a source file. Its form is told in what reads it: the language key,
# then names and values by turns, each with a terminator.
function(_zmu_version_note result)
  string(HEX "${version_LANGUAGE}" bytes)
  string(APPEND bytes 00)
  foreach(key name IN ZIP_LISTS keys names)
    if(DEFINED version_${key})
      string(HEX "${name}" name_bytes)
      string(HEX "${version_${key}}" value_bytes)
      string(APPEND bytes ${name_bytes} 00 "${value_bytes}" 00)
    endif()
  endforeach()
  string(LENGTH ${bytes} size)
  math(EXPR size "${size} / 2")
  string(REGEX REPLACE "(..)" ",0x\\1" bytes ${bytes})
  string(REGEX REPLACE "(,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..)"
    "\\1\n" lines "${bytes}")
  string(REGEX REPLACE "(^|\n)," "\\1" lines "${lines}")
  string(REGEX REPLACE "\n$" "" lines "${lines}")
  string(REGEX REPLACE "([^\n]+)" "    \".byte \\1\\\\n\"" lines "${lines}")

  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  if(CXX IN_LIST languages)
    set(suffix cpp)
  else()
    set(suffix c)
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version_${version_LANGUAGE}.${suffix})
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
/* Version data, made by zmu_module_version. */
__asm__(
    ".pushsection .note.zmu.version, \"a\", %note\n"
    ".balign 4\n"
    ".4byte 4, @size@, 1\n"
    ".asciz \"zmu\"\n"
@lines@
    ".balign 4\n"
    ".popsection\n");
]])
  set_source_files_properties(${source} PROPERTIES
    SKIP_UNITY_BUILD_INCLUSION ON SKIP_PRECOMPILE_HEADERS ON)
  set(${result} ${source} PARENT_SCOPE)
endfunction()

# Writes the version resource: one for all languages of the target, which each call adds to. The
# numbers that the system itself compares are the leading ones of the first call's texts, up to four.
function(_zmu_version_resource result)
  set(lines "")
  foreach(key name IN ZIP_LISTS keys names)
    if(DEFINED version_${key})
      string(REPLACE "\\" "\\\\" value "${version_${key}}")
      string(REPLACE "\"" "\"\"" value "${value}")
      string(REPLACE "\n" "\\n" value "${value}")
      string(APPEND lines "            VALUE \"${name}\", \"${value}\"\n")
    endif()
  endforeach()
  string(SUBSTRING ${version_LANGUAGE} 0 4 language)
  string(SUBSTRING ${version_LANGUAGE} 4 4 code_page)
  set_property(TARGET ${target} APPEND_STRING PROPERTY ZMU_VERSION_BLOCKS
    "        BLOCK \"${version_LANGUAGE}\"\n        BEGIN\n${lines}        END\n")
  set_property(TARGET ${target} APPEND_STRING PROPERTY ZMU_VERSION_TRANSLATIONS
    ", 0x${language}, 0x${code_page}")

  get_target_property(source ${target} ZMU_VERSION_RESOURCE)
  if(source)
    set(${result} "" PARENT_SCOPE)
    return()
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  set(${result} ${source} PARENT_SCOPE)
  set_target_properties(${target} PROPERTIES ZMU_VERSION_RESOURCE ${source})
  foreach(key FILE_VERSION PRODUCT_VERSION)
    string(REGEX MATCH "^[0-9]+(\\.[0-9]+)?(\\.[0-9]+)?(\\.[0-9]+)?" number "${version_${key}}")
    string(REPLACE "." ";" number "${number}")
    list(APPEND number 0 0 0 0)
    list(SUBLIST number 0 4 number)
    list(JOIN number "," ${key}_NUMBER)
  endforeach()
  if(type STREQUAL EXECUTABLE)
    set(file_type VFT_APP)
  else()
    set(file_type VFT_DLL)
  endif()
  set(blocks "$<TARGET_PROPERTY:${target},ZMU_VERSION_BLOCKS>")
  set(translations "$<TARGET_PROPERTY:${target},ZMU_VERSION_TRANSLATIONS>")
  string(CONFIGURE [[
// Version data, made by zmu_module_version.
#include <winver.h>
#pragma code_page(65001)
LANGUAGE 0, 0
VS_VERSION_INFO VERSIONINFO
FILEVERSION @FILE_VERSION_NUMBER@
PRODUCTVERSION @PRODUCT_VERSION_NUMBER@
FILEFLAGSMASK VS_FFI_FILEFLAGSMASK
FILEOS VOS_NT_WINDOWS32
FILETYPE @file_type@
BEGIN
    BLOCK "StringFileInfo"
    BEGIN
@blocks@    END
    BLOCK "VarFileInfo"
    BEGIN
        VALUE "Translation"@translations@
    END
END
]] content @ONLY)
  file(GENERATE OUTPUT ${source} CONTENT "${content}")
endfunction()
