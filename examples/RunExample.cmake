# Runs one example program as a test: in a fresh, empty working directory, so that files it
# writes are its own; the output is shown as it is and then checked.
#   EXAMPLE       the program
#   WORK_DIR      its working directory (emptied first)
#   EXIT_CODE     the exit code it must end with
#   EXPECT        regular expressions its standard output must match
#   EXPECT_ERROR  regular expressions its standard error must match
#   OUTPUTS       files it must leave there: PNG images
#   SIZE          a regular expression capturing the width and height it printed, which every
#                 PNG image must have
#   TSAN_SUPPRESSIONS  reports of ThreadSanitizer to ignore, added to the caller's options
file(REMOVE_RECURSE "${WORK_DIR}")
if(TSAN_SUPPRESSIONS)
  set(ENV{TSAN_OPTIONS} "$ENV{TSAN_OPTIONS}:suppressions=${TSAN_SUPPRESSIONS}")
endif()
file(MAKE_DIRECTORY "${WORK_DIR}")
execute_process(COMMAND "${EXAMPLE}" WORKING_DIRECTORY "${WORK_DIR}"
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
message("${output}")
if(errors)
  message("standard error:\n${errors}")
endif()
if(NOT result STREQUAL "${EXIT_CODE}")
  message(FATAL_ERROR "${EXAMPLE} exited with ${result}, not ${EXIT_CODE}")
endif()
foreach(pattern IN LISTS EXPECT)
  if(NOT output MATCHES "${pattern}")
    message(FATAL_ERROR "the output does not match \"${pattern}\"")
  endif()
endforeach()
foreach(pattern IN LISTS EXPECT_ERROR)
  if(NOT errors MATCHES "${pattern}")
    message(FATAL_ERROR "standard error does not match \"${pattern}\"")
  endif()
endforeach()

if(SIZE)
  if(NOT output MATCHES "${SIZE}")
    message(FATAL_ERROR "the output does not say the image size (\"${SIZE}\")")
  endif()
  set(expected "${CMAKE_MATCH_1} x ${CMAKE_MATCH_2}")
endif()
foreach(name IN LISTS OUTPUTS)
  set(path "${WORK_DIR}/${name}")
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "${name} was not written")
  endif()
  # The PNG signature, then the IHDR chunk: length, "IHDR", width and height (big-endian).
  file(READ "${path}" header LIMIT 24 HEX)
  string(LENGTH "${header}" length)
  if(length LESS 48)
    message(FATAL_ERROR "${name} is not a PNG image")
  endif()
  string(SUBSTRING "${header}" 0 16 signature)
  string(SUBSTRING "${header}" 24 8 chunk)
  string(SUBSTRING "${header}" 32 8 width)
  string(SUBSTRING "${header}" 40 8 height)
  if(NOT signature STREQUAL "89504e470d0a1a0a" OR NOT chunk STREQUAL "49484452")
    message(FATAL_ERROR "${name} is not a PNG image")
  endif()
  math(EXPR width "0x${width}")
  math(EXPR height "0x${height}")
  if(width EQUAL 0 OR height EQUAL 0)
    message(FATAL_ERROR "${name} is empty")
  endif()
  if(SIZE AND NOT "${width} x ${height}" STREQUAL expected)
    message(FATAL_ERROR "${name} is ${width} x ${height}, the frame was ${expected}")
  endif()
endforeach()
