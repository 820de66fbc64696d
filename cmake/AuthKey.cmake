# The public key that the network-access authentication trusts, built into the daemon's read-only data.
set(VENDORDIAG_AUTH_PUBLIC_KEY ${CMAKE_SOURCE_DIR}/keys/auth_dev_public.pem CACHE FILEPATH
    "PEM file of the RSA public key (2048 bits) of the network-access authentication")

get_filename_component(auth_key_path ${VENDORDIAG_AUTH_PUBLIC_KEY} ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR})
if(NOT EXISTS ${auth_key_path})
  message(FATAL_ERROR "VENDORDIAG_AUTH_PUBLIC_KEY names no file: ${auth_key_path}")
endif()
set(auth_key_sources ${CMAKE_SOURCE_DIR}/keys/auth_dev_public.pem ${CMAKE_SOURCE_DIR}/ftm/ftm_auth_key.cpp.in
  ${auth_key_path})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/keys/auth_key.sh ${auth_key_sources})

execute_process(COMMAND ${CMAKE_SOURCE_DIR}/keys/auth_key.sh ${auth_key_sources}
  RESULT_VARIABLE result OUTPUT_VARIABLE source ERROR_VARIABLE said ERROR_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "VENDORDIAG_AUTH_PUBLIC_KEY: ${said}")
elseif(said AND VENDORDIAG_PLATFORM STREQUAL "android")
  message(WARNING "${said}")
elseif(said)
  message(STATUS "${said}")
endif()
set(auth_key_file ${CMAKE_BINARY_DIR}/generated/ftm_auth_key.cpp)
set(before "")
if(EXISTS ${auth_key_file})
  file(READ ${auth_key_file} before)
endif()
if(NOT before STREQUAL source)
  file(WRITE ${auth_key_file} "${source}")
endif()
