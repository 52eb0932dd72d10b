# The situations of a catalogue for a program or library:
#
#   zmu_add_catalog(server situations.toml LANGUAGES de pt-BR)
#
# TARGET is one of this folder. Its sources include "situations.h", which has a function for each
# situation of CATALOG; the file's name is the header's. Each language becomes a module beside TARGET:
# situations for the first, situations_de for the translation in situations.de.toml, which lies beside
# the catalogue. A mistake in one of these files ends the build with its place. All is made anew when
# a file changes.
#
# The modules are the targets server_situations and server_situations_de, to be installed with TARGET;
# the property ZMU_CATALOG_MODULES of TARGET lists them all, and ZMU_CATALOG_PAGES the pages that
# explain the situations. docs/catalogs.md tells what a catalogue holds, and how a language is chosen.
include_guard(GLOBAL)

function(zmu_add_catalog target catalog)
  cmake_parse_arguments(PARSE_ARGV 2 catalog "" "" "LANGUAGES")
  if(NOT TARGET ${target})
    message(FATAL_ERROR "zmu_add_catalog: there is no target ${target}")
  endif()
  if(NOT TARGET zmu::command)
    message(FATAL_ERROR "zmu_add_catalog: the command zmu is not there. Install the package's tools, "
      "or set ZMU_BUILD_TOOLS to ON where you add zmu.")
  endif()
  if(DEFINED catalog_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zmu_add_catalog: what is ${catalog_UNPARSED_ARGUMENTS}?")
  endif()
  if(DEFINED catalog_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "zmu_add_catalog: no value for ${catalog_KEYWORDS_MISSING_VALUES}")
  endif()
  if(NOT catalog MATCHES "([^/\\]+)\\.toml$")
    message(FATAL_ERROR "zmu_add_catalog: ${catalog} is no catalogue, whose name is NAME.toml")
  endif()
  set(name ${CMAKE_MATCH_1})

  get_filename_component(catalog ${catalog} ABSOLUTE)
  set(files ${catalog})
  set(modules ${name})
  foreach(language IN LISTS catalog_LANGUAGES)
    string(REGEX REPLACE "\\.toml$" ".${language}.toml" file ${catalog})
    list(APPEND files ${file})
    list(APPEND modules ${name}_${language})
  endforeach()
  foreach(file IN LISTS files)
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "zmu_add_catalog: there is no file ${file}")
    endif()
  endforeach()

  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target}_${name})
  set(made ${folder}/${name}.h)
  set(pages "")
  foreach(module IN LISTS modules)
    list(APPEND made ${folder}/${module}.cpp ${folder}/${module}.rc)
    list(APPEND pages ${folder}/${module}.html)
  endforeach()
  set(command zmu::command)
  get_target_property(imported zmu::command IMPORTED)
  if(imported AND CMAKE_CROSSCOMPILING) # which CMake starts by itself only if it was built here
    set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:zmu::command>)
  endif()
  add_custom_command(OUTPUT ${made} ${pages}
    COMMAND ${command} compile ${files} --output ${folder}
    DEPENDS ${files} zmu::command
    COMMENT "Compiling the catalogue ${name}"
    VERBATIM)
  add_custom_target(${target}_${name}_compiled DEPENDS ${made} ${pages})
  add_dependencies(${target} ${target}_${name}_compiled)

  get_target_property(type ${target} TYPE)
  if(type STREQUAL INTERFACE_LIBRARY)
    target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${folder}>)
  else()
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${folder}>)
  endif()
  foreach(module IN LISTS modules)
    set(module_target ${target}_${module})
    add_library(${module_target} MODULE ${folder}/${module}.cpp)
    target_link_libraries(${module_target} PRIVATE zmu::zmu)
    add_dependencies(${module_target} ${target}_${name}_compiled)
    add_dependencies(${target} ${module_target})
    set_target_properties(${module_target} PROPERTIES
      OUTPUT_NAME ${module}
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
    if(type MATCHES "^(EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY)$")
      set_target_properties(${module_target} PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:${target}>)
    endif()
    if(WIN32)
      set_target_properties(${module_target} PROPERTIES PREFIX "")
      target_sources(${module_target} PRIVATE ${folder}/${module}.rc)
    endif()
    set_property(TARGET ${target} APPEND PROPERTY ZMU_CATALOG_MODULES ${module_target})
  endforeach()
  set_property(TARGET ${target} APPEND PROPERTY ZMU_CATALOG_PAGES ${pages})
endfunction()
