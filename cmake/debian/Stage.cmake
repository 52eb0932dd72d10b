# Run by CPack for each folder of files that it is about to pack: what Debian wants to find in a package,
# made of LICENSE and CHANGELOG.md. With SOURCE_DATE_EPOCH set the same files give the same packages.
set(source ${CPACK_ZMU_SOURCE})
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(seconds $ENV{SOURCE_DATE_EPOCH})
else()
  string(TIMESTAMP seconds %s UTC)
endif()
set(work ${CPACK_TOPLEVEL_DIRECTORY}/debian)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The paragraphs of a text as a field of a control file.
function(indent text output)
  string(REGEX REPLACE "\n\n" "\n.\n" text "${text}")
  string(REGEX REPLACE "\n" "\n " text "${text}")
  set(${output} " ${text}" PARENT_SCOPE)
endfunction()

file(READ ${source}/LICENSE licence)
if(NOT licence MATCHES "^MIT License\n\nCopyright \\(c\\) ([^\n]*)\n\n(.*[^\n])\n$")
  message(FATAL_ERROR "${source}/LICENSE is not the licence that debian/copyright would name")
endif()
set(holder ${CMAKE_MATCH_1})
indent("${CMAKE_MATCH_2}" licence)
file(WRITE ${work}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: zmu

Files: *
Copyright: ${holder}
License: Expat
${licence}
")

# The newest version of CHANGELOG.md.
file(READ ${source}/CHANGELOG.md changes)
string(REPLACE ";" "," changes "${changes}")
if(NOT changes MATCHES "\n## ([0-9.]+)([^\n]*)\n\n([^#]*[^#\n])")
  message(FATAL_ERROR "${source}/CHANGELOG.md has no section for a version")
endif()
set(version ${CMAKE_MATCH_1})
set(released "${CMAKE_MATCH_2}")
set(items "${CMAKE_MATCH_3}")
if(NOT version VERSION_EQUAL CPACK_PACKAGE_VERSION)
  message(FATAL_ERROR "${source}/CHANGELOG.md begins with ${version}, and this is ${CPACK_PACKAGE_VERSION}")
endif()
set(distribution unstable)
if(released MATCHES "not released")
  set(distribution UNRELEASED)
endif()
string(REGEX REPLACE "\\[([^]]*)\\]\\([^)]*\\)" "\\1" items "${items}")
string(REGEX REPLACE "\n" "\n  " items "  ${items}")
string(REGEX REPLACE "  - " "  * " items "${items}")
file(WRITE ${work}/items "${items}\n")
execute_process(COMMAND fmt --tagged-paragraph --width=76 ${work}/items OUTPUT_VARIABLE items
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND date --utc --date=@${seconds} --rfc-email OUTPUT_VARIABLE date
  COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${work}/changelog "zmu (${version}) ${distribution}; urgency=medium

${items}
 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}")
run(gzip --best --no-name --force ${work}/changelog)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  if(NOT IS_DIRECTORY ${root})
    message(FATAL_ERROR "nothing is installed for the component ${component} in ${root}")
  endif()
  file(COPY ${work}/copyright ${work}/changelog.gz
    DESTINATION ${root}/share/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  if(component MATCHES "^(brander|proxy)$")
    file(WRITE ${root}/share/lintian/overrides/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
      "# The library loads it by its file's name from its own folder; nothing links it.\n"
      "${CPACK_DEBIAN_${name}_PACKAGE_NAME}: sharedobject-in-library-directory-missing-soname\n")
  endif()
  file(GLOB pages ${root}/share/man/man1/*.1)
  foreach(page IN LISTS pages)
    run(gzip --best --no-name --force ${page})
  endforeach()
  file(REMOVE ${root}/share/doc/zmu/LICENSE) # is in `copyright`
  file(GLOB_RECURSE files LIST_DIRECTORIES ON ${root} ${root}/*)
  run(touch --no-dereference --date=@${seconds} ${files} ${root})
endforeach()
