# The tag catalogue is generated at build time by the orvelin tool from the system's exiftool,
# into the build tree's resources. It is generated again when anything that shapes it changes:
# the version of exiftool (the stamp), the override resources, and the code of the generator
# and of what it builds on (the catalogue, tag vocabulary and exiftool subsystems, and the
# tool's catalogue commands). The tool generates into a fresh folder and replaces the former
# "Tags" and "Localized tags" only when every stream was written, so no file of a stream that
# is no longer generated stays behind.
set(ORVELIN_EXIFTOOL_STAMP ${CMAKE_BINARY_DIR}/exiftool-version.stamp)
set(ORVELIN_CATALOGUE_OUTPUT ${ORVELIN_BUILD_RESOURCES_DIR}/Tags/streams.json)

add_custom_target(orvelin_exiftool_stamp
  COMMAND ${CMAKE_COMMAND} -DEXIFTOOL=${ORVELIN_EXIFTOOL} -DSTAMP=${ORVELIN_EXIFTOOL_STAMP}
          -P ${PROJECT_SOURCE_DIR}/cmake/ExifToolStamp.cmake
  BYPRODUCTS ${ORVELIN_EXIFTOOL_STAMP}
  VERBATIM)

file(GLOB ORVELIN_CATALOGUE_INPUTS CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/resources/TagsOverridden*.json
  ${PROJECT_SOURCE_DIR}/src/catalogue/*.cc ${PROJECT_SOURCE_DIR}/src/catalogue/*.h
  ${PROJECT_SOURCE_DIR}/include/orvelin/catalogue/*.h
  ${PROJECT_SOURCE_DIR}/src/tags/*.cc ${PROJECT_SOURCE_DIR}/include/orvelin/tags/*.h
  ${PROJECT_SOURCE_DIR}/src/exiftool/*.cc ${PROJECT_SOURCE_DIR}/src/exiftool/*.h
  ${PROJECT_SOURCE_DIR}/include/orvelin/exiftool/*.h)
add_custom_command(
  OUTPUT ${ORVELIN_CATALOGUE_OUTPUT}
  COMMAND ${CMAKE_COMMAND} -E env ORVELIN_RESOURCES=${ORVELIN_BUILD_RESOURCES_DIR}
          $<TARGET_FILE:orvelin_tool> catalogue generate ${ORVELIN_BUILD_RESOURCES_DIR}
  DEPENDS ${ORVELIN_EXIFTOOL_STAMP} ${ORVELIN_CATALOGUE_INPUTS}
          ${PROJECT_SOURCE_DIR}/tools/orvelin/catalogue_commands.cc
  COMMENT "Generating the tag catalogue from exiftool"
  VERBATIM)
add_custom_target(orvelin_catalogue ALL DEPENDS ${ORVELIN_CATALOGUE_OUTPUT})
add_dependencies(orvelin_catalogue orvelin_exiftool_stamp orvelin_tool orvelin_resources)

install(DIRECTORY ${ORVELIN_BUILD_RESOURCES_DIR}/Tags "${ORVELIN_BUILD_RESOURCES_DIR}/Localized tags"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/orvelin)
