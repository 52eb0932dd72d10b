# zmu_hide_templates(TARGET): a shared library or module of ours exports what its code marks, and
# nothing else, and can be unloaded.
#
# The headers of the standard library mark their templates as visible. Each instance of one would be
# an export of ours that other modules bind to, and some are unique in the process, which keeps
# whoever brought the first one loaded for ever.
include_guard(GLOBAL)

set(ZMU_HIDDEN_MAP ${CMAKE_CURRENT_LIST_DIR}/hidden.map)

function(zmu_hide_templates target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(UNIX AND NOT APPLE)
    target_link_options(${target} PRIVATE -Wl,--version-script=${ZMU_HIDDEN_MAP})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${ZMU_HIDDEN_MAP})
  endif()
endfunction()
