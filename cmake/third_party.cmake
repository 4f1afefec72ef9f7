# THIRD-PARTY.md: the licences, word for word, of what others wrote and what this build compiles in.
# Whoever compiles something in notes it where that is decided:
#     zvevent_compiled_in(NAME "what of it, and where it ends up" FILE_WITH_THE_LICENCE)
function(zvevent_compiled_in name what licence)
  if(NOT EXISTS "${licence}")
    message(WARNING "the licence of ${name} is not at ${licence}: THIRD-PARTY.md lacks it")
    return()
  endif()
  file(READ "${licence}" text)
  set_property(GLOBAL APPEND_STRING PROPERTY zvevent_notices
    "\n## ${name}\n\n${what}\n\n```text\n${text}\n```\n")
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${licence}")
endfunction()

# Nothing is written where nothing is compiled in.
function(zvevent_write_notices file)
  get_property(notices GLOBAL PROPERTY zvevent_notices)
  if(notices)
    set(begin "# Third-party notices\n\nThese binaries contain code of others, under these terms.\n")
    file(WRITE "${file}" "${begin}${notices}")
  endif()
endfunction()
