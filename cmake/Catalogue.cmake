# The tag catalogue is generated at build time by the orvelin tool from the system's exiftool,
# into the build tree's resources; it is generated again when `exiftool -ver` changes, when the
# override resources change, or when the generator's code changes.
set(ORVELIN_EXIFTOOL_STAMP ${CMAKE_BINARY_DIR}/exiftool-version.stamp)
set(ORVELIN_CATALOGUE_OUTPUT ${ORVELIN_BUILD_RESOURCES_DIR}/Tags/streams.json)

add_custom_target(orvelin_exiftool_stamp
  COMMAND ${CMAKE_COMMAND} -DEXIFTOOL=${ORVELIN_EXIFTOOL} -DSTAMP=${ORVELIN_EXIFTOOL_STAMP}
          -P ${PROJECT_SOURCE_DIR}/cmake/ExifToolStamp.cmake
  BYPRODUCTS ${ORVELIN_EXIFTOOL_STAMP}
  VERBATIM)

file(GLOB ORVELIN_OVERRIDE_RESOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/resources/TagsOverridden*.json)
add_custom_command(
  OUTPUT ${ORVELIN_CATALOGUE_OUTPUT}
  COMMAND ${CMAKE_COMMAND} -E env ORVELIN_RESOURCES=${ORVELIN_BUILD_RESOURCES_DIR}
          $<TARGET_FILE:orvelin_tool> catalogue generate ${ORVELIN_BUILD_RESOURCES_DIR}
  DEPENDS ${ORVELIN_EXIFTOOL_STAMP} ${ORVELIN_OVERRIDE_RESOURCES}
          ${PROJECT_SOURCE_DIR}/src/catalogue/tags_resources_writer.cc
  COMMENT "Generating the tag catalogue from exiftool"
  VERBATIM)
add_custom_target(orvelin_catalogue ALL DEPENDS ${ORVELIN_CATALOGUE_OUTPUT})
add_dependencies(orvelin_catalogue orvelin_exiftool_stamp orvelin_tool orvelin_resources)

install(DIRECTORY ${ORVELIN_BUILD_RESOURCES_DIR}/Tags "${ORVELIN_BUILD_RESOURCES_DIR}/Localized tags"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/orvelin)
