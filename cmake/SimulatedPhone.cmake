# The simulated phone beside the programs, laid out anew whenever something under device/ changes, and the program that
# starts it.
file(GLOB_RECURSE VENDORDIAG_DEVICE_FILES CONFIGURE_DEPENDS LIST_DIRECTORIES false ${CMAKE_SOURCE_DIR}/device/*)
list(FILTER VENDORDIAG_DEVICE_FILES EXCLUDE REGEX "/device/persist$")  # a link to a directory
list(FILTER VENDORDIAG_DEVICE_FILES EXCLUDE REGEX ":")  # a colon has a meaning of its own in a makefile
set(make_phone ${CMAKE_SOURCE_DIR}/tools/phone/make-phone.sh)
add_custom_command(
  OUTPUT ${CMAKE_BINARY_DIR}/device/.sim/laid-out
  COMMAND ${make_phone} ${CMAKE_BINARY_DIR}/device
  DEPENDS ${make_phone} ${VENDORDIAG_DEVICE_FILES}
  COMMENT "Laying out the simulated phone" VERBATIM)
add_custom_target(simulated_phone ALL DEPENDS ${CMAKE_BINARY_DIR}/device/.sim/laid-out)
