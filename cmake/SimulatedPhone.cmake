# The simulated phone beside the programs, laid out anew whenever something under device/ changes.
file(GLOB_RECURSE VENDORDIAG_DEVICE_FILES CONFIGURE_DEPENDS LIST_DIRECTORIES false ${CMAKE_SOURCE_DIR}/device/*)
list(FILTER VENDORDIAG_DEVICE_FILES EXCLUDE REGEX "/device/persist$")  # a link to a directory
add_custom_command(
  OUTPUT ${CMAKE_BINARY_DIR}/device/.sim/laid-out
  COMMAND ${CMAKE_SOURCE_DIR}/scripts/make-phone.sh ${CMAKE_BINARY_DIR}/device
  DEPENDS ${CMAKE_SOURCE_DIR}/scripts/make-phone.sh ${VENDORDIAG_DEVICE_FILES}
  COMMENT "Laying out the simulated phone" VERBATIM)
add_custom_target(simulated_phone ALL DEPENDS ${CMAKE_BINARY_DIR}/device/.sim/laid-out)
