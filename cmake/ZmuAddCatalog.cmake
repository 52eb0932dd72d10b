# The situations of a catalogue for a program or library:
#
#   zmu_add_catalog(server situations.toml LANGUAGES de pt-BR)
#
# TARGET's sources include "situations.h", which has a function for each situation of CATALOG; the
# file's name is the header's. Each language becomes a module beside TARGET: situations for the first,
# situations_de for the translation in situations.de.toml, which lies beside the catalogue. Those of a
# static or interface library go to CMAKE_LIBRARY_OUTPUT_DIRECTORY, or else the present build folder:
# whoever links it sees to it that the program finds them. A mistake in one of these files ends the
# build with its place. All is made anew when a file changes.
#
# The modules are the targets server_situations and server_situations_de, to be installed with TARGET;
# the property ZMU_CATALOG_MODULES of TARGET lists them all, and ZMU_CATALOG_PAGES the pages that
# explain the situations. Targets in one folder share the modules of a catalogue, which are then those of the
# first one: an OUTPUT_DIRECTORY property is set before the call. docs/catalogs.md tells what a
# catalogue holds, and how a language is chosen.
#
# Where the command `zmu` of the package cannot run, as when the build is for another system and
# there is no CMAKE_CROSSCOMPILING_EMULATOR, ZMU_COMMAND is the path of one that can, of the same
# version; without one it is looked for in PATH.
include_guard(GLOBAL)

set_property(GLOBAL PROPERTY ZMU_CATALOG_VERSION "${zmu_VERSION}")

# Sets RESULT to the command line of `zmu`, and RESULT_depends to what it is made of.
function(_zmu_catalog_command result)
  set(depends zmu::command)
  set(command zmu::command)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    find_program(ZMU_COMMAND zmu NO_DEFAULT_PATH PATHS ENV PATH NO_CMAKE_FIND_ROOT_PATH
      DOC "The command zmu of the machine that builds")
    if(NOT ZMU_COMMAND)
      message(FATAL_ERROR "zmu_add_catalog: the command zmu is for another system than this one. Set "
        "ZMU_COMMAND to one that this machine can run, of the same version.")
    endif()
  endif()
  if(ZMU_COMMAND)
    get_property(version GLOBAL PROPERTY ZMU_CATALOG_VERSION)
    execute_process(COMMAND "${ZMU_COMMAND}" --version OUTPUT_VARIABLE told ERROR_VARIABLE told
      RESULT_VARIABLE status OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT told STREQUAL "zmu ${version}")
      message(FATAL_ERROR "zmu_add_catalog: ZMU_COMMAND is ${ZMU_COMMAND}, which is not the command of zmu "
        "${version}: asked for --version it says \"${told}\" (${status}).")
    endif()
    set(depends "${ZMU_COMMAND}")
    set(command "${ZMU_COMMAND}")
  elseif(NOT TARGET zmu::command)
    message(FATAL_ERROR "zmu_add_catalog: the command zmu is not there. Install the package's tools, "
      "set ZMU_BUILD_TOOLS to ON where you add zmu, or set ZMU_COMMAND to the command's path.")
  else()
    get_target_property(imported zmu::command IMPORTED)
    if(imported AND CMAKE_CROSSCOMPILING) # which CMake starts by itself only if it was built here
      set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:zmu::command>)
    endif()
  endif()
  set(${result} "${command}" PARENT_SCOPE)
  set(${result}_depends "${depends}" PARENT_SCOPE)
endfunction()

# Sets RESULT to the folder that TARGET is built into, and to "" if nobody runs or loads it.
function(_zmu_output_folder result target)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL EXECUTABLE OR (type STREQUAL SHARED_LIBRARY AND WIN32))
    get_target_property(folder ${target} RUNTIME_OUTPUT_DIRECTORY)
  elseif(type MATCHES "^(SHARED|MODULE)_LIBRARY$")
    get_target_property(folder ${target} LIBRARY_OUTPUT_DIRECTORY)
  else()
    set(${result} "" PARENT_SCOPE)
    return()
  endif()
  if(NOT folder)
    get_target_property(folder ${target} BINARY_DIR)
  endif()
  set(${result} "${folder}" PARENT_SCOPE)
endfunction()

# Sets RESULT to the target of a module, "" if there is none yet in FOLDER. One that another
# catalogue has made there, or OWNER itself, is in its way.
function(_zmu_catalog_module result module catalog owner folder)
  get_target_property(type ${owner} TYPE)
  get_target_property(output_name ${owner} OUTPUT_NAME)
  get_target_property(prefix ${owner} PREFIX)
  if(NOT output_name)
    set(output_name ${owner})
  endif()
  if(type MATCHES "^(SHARED|MODULE)_LIBRARY$" AND output_name STREQUAL module
      AND prefix MATCHES "-NOTFOUND$")
    message(FATAL_ERROR "zmu_add_catalog: the library ${owner} and the module with the texts of ${catalog} "
      "would be one file. Give one of them another name, for instance by OUTPUT_NAME of ${owner}.")
  endif()
  get_property(known GLOBAL PROPERTY "ZMU_CATALOG_MODULE ${folder}/${module}")
  if(NOT known)
    set(${result} "" PARENT_SCOPE)
    return()
  endif()
  list(GET known 0 known_module)
  list(GET known 1 known_catalog)
  list(GET known 2 known_owner)
  if(NOT known_catalog STREQUAL catalog)
    message(FATAL_ERROR "zmu_add_catalog: ${owner} and ${known_owner} are built into ${folder}, and the texts "
      "of ${catalog} and ${known_catalog} would be one module there, ${module}. Give one of the "
      "catalogues another name, or one of the targets another folder.")
  endif()
  set(${result} ${known_module} PARENT_SCOPE)
endfunction()

function(zmu_add_catalog target catalog)
  cmake_parse_arguments(PARSE_ARGV 2 catalog "" "" "LANGUAGES")
  if(NOT TARGET "${target}")
    message(FATAL_ERROR "zmu_add_catalog: there is no target ${target}")
  endif()
  get_target_property(aliased "${target}" ALIASED_TARGET)
  if(aliased)
    set(target ${aliased})
  endif()
  get_target_property(type ${target} TYPE)
  get_target_property(imported ${target} IMPORTED)
  if(imported OR type STREQUAL UTILITY)
    message(FATAL_ERROR "zmu_add_catalog: ${target} is neither a program nor a library that is built here")
  endif()
  if(DEFINED catalog_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zmu_add_catalog: what is ${catalog_UNPARSED_ARGUMENTS}?")
  endif()
  if(DEFINED catalog_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "zmu_add_catalog: no value for ${catalog_KEYWORDS_MISSING_VALUES}")
  endif()
  if(NOT "${catalog}" MATCHES "(^|[/\\])([A-Za-z0-9][-A-Za-z0-9_.]*)\\.toml$")
    message(FATAL_ERROR "zmu_add_catalog: ${catalog} is no catalogue, whose name is NAME.toml, with "
      "letters, digits, - _ and . in NAME, and a letter or digit first")
  endif()
  set(name ${CMAKE_MATCH_2})
  get_filename_component(catalog "${catalog}" ABSOLUTE)
  if("${catalog}" MATCHES ";")
    message(FATAL_ERROR "zmu_add_catalog: ${catalog}: CMake has no paths with semicolons")
  endif()
  get_target_property(names ${target} ZMU_CATALOG_NAMES)
  if(name IN_LIST names)
    message(FATAL_ERROR "zmu_add_catalog: ${target} has a catalogue called ${name} already")
  endif()
  set_property(TARGET ${target} APPEND PROPERTY ZMU_CATALOG_NAMES ${name})

  set(files "${catalog}")
  set(modules ${name})
  list(REMOVE_DUPLICATES catalog_LANGUAGES)
  foreach(language IN LISTS catalog_LANGUAGES)
    string(REGEX REPLACE "\\.toml$" ".${language}.toml" file "${catalog}")
    list(APPEND files "${file}")
    list(APPEND modules ${name}_${language})
  endforeach()
  foreach(file IN LISTS files)
    if(NOT EXISTS "${file}")
      message(FATAL_ERROR "zmu_add_catalog: there is no file ${file}")
    endif()
  endforeach()

  # What comes out as it was is left alone, so that a text that changes compiles no calls again; it
  # is the stamp that tells how new all is.
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/${target}_${name}")
  set(made "${folder}/${name}.h")
  set(pages "")
  foreach(module IN LISTS modules)
    list(APPEND made "${folder}/${module}.cpp" "${folder}/${module}.rc")
    list(APPEND pages "${folder}/${module}.html")
  endforeach()
  _zmu_catalog_command(command)
  add_custom_command(OUTPUT "${folder}/${name}.stamp"
    BYPRODUCTS ${made} ${pages}
    COMMAND ${command} compile ${files} --output "${folder}"
    COMMAND ${CMAKE_COMMAND} -E touch "${folder}/${name}.stamp"
    DEPENDS ${files} ${command_depends}
    COMMENT "Compiling the catalogue ${name}"
    VERBATIM)
  add_custom_target(${target}_${name}_compiled DEPENDS "${folder}/${name}.stamp")
  add_dependencies(${target} ${target}_${name}_compiled)

  if(type STREQUAL INTERFACE_LIBRARY)
    target_include_directories(${target} INTERFACE "$<BUILD_INTERFACE:${folder}>")
  else()
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${folder}>")
  endif()
  _zmu_output_folder(output ${target})
  set(place "${output}")
  if(NOT output)
    set(place "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
    if(NOT place)
      set(place "${CMAKE_CURRENT_BINARY_DIR}")
    endif()
  endif()
  foreach(module IN LISTS modules)
    _zmu_catalog_module(module_target ${module} "${catalog}" ${target} "${place}")
    if(NOT module_target)
      set(module_target ${target}_${module})
      set_property(GLOBAL PROPERTY "ZMU_CATALOG_MODULE ${place}/${module}"
        ${module_target} "${catalog}" ${target})
      add_library(${module_target} MODULE "${folder}/${module}.cpp")
      target_link_libraries(${module_target} PRIVATE zmu::zmu)
      add_dependencies(${module_target} ${target}_${name}_compiled)
      set_target_properties(${module_target} PROPERTIES
        OUTPUT_NAME ${module}
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
      if(output)
        set_target_properties(${module_target} PROPERTIES
          LIBRARY_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:${target}>)
      endif()
      if(WIN32)
        set_target_properties(${module_target} PROPERTIES PREFIX "")
        target_sources(${module_target} PRIVATE "${folder}/${module}.rc")
      endif()
    endif()
    add_dependencies(${target} ${module_target})
    set_property(TARGET ${target} APPEND PROPERTY ZMU_CATALOG_MODULES ${module_target})
  endforeach()
  set_property(TARGET ${target} APPEND PROPERTY ZMU_CATALOG_PAGES ${pages})
endfunction()
