# Writes the output of `exiftool -ver` to STAMP, touching the file only when the version
# changed, so that the catalogue is generated again exactly when exiftool changes.
execute_process(COMMAND "${EXIFTOOL}" -ver OUTPUT_VARIABLE version RESULT_VARIABLE status
                OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT status EQUAL 0)
  set(version "unavailable")
endif()
set(old "")
if(EXISTS "${STAMP}")
  file(READ "${STAMP}" old)
endif()
if(NOT old STREQUAL "${version}")
  file(WRITE "${STAMP}" "${version}")
endif()
