# What the build makes of zmu/platform/EventMessages.def:
#
#   cmake -D TABLE=… -D FORM=mc -D OUTPUT=… -P EventMessages.cmake        messages for a Windows resource
#   cmake -D TABLE=… -D FORM=catalog -D OUTPUT=… -P EventMessages.cmake   the journal's message catalog

if(FORM STREQUAL mc)
  set(content [[
; Made from zmu/platform/EventMessages.def.
MessageIdTypedef=DWORD
SeverityNames=(Informational=0x1 Warning=0x2 Error=0x3)
FacilityNames=(None=0x0)
LanguageNames=(English=0x409:EventMessages1033)
]])
else()
  set(content [[
# Made from zmu/platform/EventMessages.def: what `journalctl -x` says of each event.
]])
endif()

set(severity_4 Informational)
set(severity_8 Warning)
set(severity_C Error)
file(STRINGS ${TABLE} rows REGEX "^ZMU_EVENT" ENCODING UTF-8)
foreach(row IN LISTS rows)
  if(NOT row MATCHES "^ZMU_EVENT\\((0x([48C])000([0-9A-F]+)), ([0-9]+), [0-9]+, \"([0-9a-f]+)\", \"(.*)\"\\)$")
    message(FATAL_ERROR "${TABLE}: this is no row of one line: ${row}")
  endif()
  set(event ${CMAKE_MATCH_1})
  set(severity ${severity_${CMAKE_MATCH_2}})
  set(number 0x${CMAKE_MATCH_3})
  set(situation ${CMAKE_MATCH_4})
  set(message_id ${CMAKE_MATCH_5})
  string(REPLACE "\\\"" "\"" text "${CMAKE_MATCH_6}")
  if(FORM STREQUAL mc)
    string(APPEND content "
MessageId=${number}
Severity=${severity}
Facility=None
Language=English
${text}
.
")
  else()
    string(REPLACE "!s!" "" text "${text}") # the journal fills in no field whose name has a digit
    set(told_for "")
    if(situation)
      set(told_for ", which it tells for situation ${situation}")
    endif()
    string(APPEND content "
-- ${message_id}
Subject: ${text}
Defined-By: zmu

@SYSLOG_IDENTIFIER@, process @_PID@, has told event ${event}${told_for}.
%1 and so on are the fields ZMU_STRING_1 and so on; see journalctl -o verbose.
What led to the event stands in the log of that program.
")
  endif()
endforeach()
if(FORM STREQUAL mc)
  # The compilers of messages take line breaks over as they are.
  file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "${content}" @ONLY NEWLINE_STYLE CRLF)
else()
  file(WRITE ${OUTPUT} "${content}")
endif()
