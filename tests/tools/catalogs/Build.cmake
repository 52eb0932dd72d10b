# zmu_add_catalog, in the project PROJECT that is built in FOLDER: what it refuses, and what is made anew.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${FOLDER})
file(COPY ${PROJECT}/ DESTINATION ${FOLDER}/source)
set(catalog "[situations.s]\nid = 1\nlog = 'One text'\nexplanation = 'x'\n")
file(WRITE ${FOLDER}/source/texts.toml "${catalog}")
file(WRITE ${FOLDER}/source/texts.de.toml "[situations.s]\nlog = 'Ein Text'\n")
file(WRITE ${FOLDER}/source/other/texts.toml "${catalog}")
set(options -S ${FOLDER}/source -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Debug -DINCLUDE=${INCLUDE}
  -DLIBRARY=${LIBRARY} -DTOOL=${TOOL} -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} -DCMAKE_CXX_FLAGS=${FLAGS})

foreach(mistake "space:my texts.toml is no catalogue, whose name is" "semicolon:is no catalogue, whose name is"
    "missing:there is no file [^ ]*/texts.fr.toml" "twice:first has a catalogue called texts already"
    "same:second and first are built into" "library:the library texts and the module"
    "utility:nothing is neither a program nor" "system:Set ZMU_COMMAND to one that"
    "version:which is not the command of zmu")
  string(REGEX MATCH "^([a-z]*):(.*)$" unused "${mistake}")
  set(message "${CMAKE_MATCH_2}")
  execute_process(COMMAND ${CMAKE_COMMAND} ${options} -B ${FOLDER}/mistakes -DMISTAKE=${CMAKE_MATCH_1}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}")
  if(result EQUAL 0 OR NOT errors MATCHES "zmu_add_catalog:[^:]*${message}")
    message(SEND_ERROR "no word of \"${message}\": ${errors}")
  endif()
endforeach()

execute_process(COMMAND ${CMAKE_COMMAND} ${options} -B ${FOLDER}/build OUTPUT_VARIABLE output
  COMMAND_ERROR_IS_FATAL ANY)
foreach(line "first: first_texts\n" "second: first_texts;second_texts_de\n" "library: library_texts\n")
  if(NOT output MATCHES "-- ${line}")
    message(SEND_ERROR "the modules are others than ${line}: ${output}")
  endif()
endforeach()

# Builds and sets RESULT to the names of the objects that were there and were made anew.
set(build ${FOLDER}/build)
function(build_again result)
  file(GLOB_RECURSE objects ${build}/*main.cpp.o ${build}/*texts*.cpp.o)
  foreach(object IN LISTS objects)
    file(TIMESTAMP ${object} time_${object} "%s")
  endforeach()
  if(objects)
    execute_process(COMMAND ${CMAKE_COMMAND} -E sleep 1.1) # as the files' times have no more than seconds
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} OUTPUT_VARIABLE output ERROR_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
  set(made "")
  foreach(object IN LISTS objects)
    file(TIMESTAMP ${object} time "%s")
    if(NOT time STREQUAL time_${object})
      get_filename_component(name ${object} NAME)
      list(APPEND made ${name})
    endif()
  endforeach()
  list(SORT made)
  set(${result} "${made}" PARENT_SCOPE)
endfunction()

function(expect_made what)
  build_again(made)
  if(NOT made STREQUAL "${ARGN}")
    message(SEND_ERROR "${what}: compiled are \"${made}\", and not \"${ARGN}\"")
  endif()
endfunction()

build_again(made)
expect_made("nothing has changed")
file(WRITE ${FOLDER}/source/texts.de.toml "[situations.s]\nlog = 'Der Text'\n")
expect_made("a translation" texts_de.cpp.o)
string(REPLACE "'x'" "'y'" catalog "${catalog}")
file(WRITE ${FOLDER}/source/texts.toml "${catalog}")
expect_made("an explanation")
string(REPLACE "id = 1" "id = 1\narguments = ['n: u32']" catalog "${catalog}")
string(REPLACE "One" "One {n}" catalog "${catalog}")
file(WRITE ${FOLDER}/source/texts.toml "${catalog}")
file(WRITE ${FOLDER}/source/texts.de.toml "[situations.s]\nlog = 'Der Text {n}'\n")
expect_made("an argument" main.cpp.o main.cpp.o texts.cpp.o texts_de.cpp.o)
file(GLOB_RECURSE modules RELATIVE ${build} ${build}/libtexts*${SUFFIX})
if(NOT modules STREQUAL "libtexts${SUFFIX};libtexts_de${SUFFIX};modules/libtexts${SUFFIX}")
  message(SEND_ERROR "the modules are ${modules}")
endif()
