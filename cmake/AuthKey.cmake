# The public key that the network-access authentication trusts, built into the daemon's read-only data.
set(VENDORDIAG_AUTH_DEV_KEY ${CMAKE_SOURCE_DIR}/keys/auth_dev_public.pem)
set(VENDORDIAG_AUTH_PUBLIC_KEY ${VENDORDIAG_AUTH_DEV_KEY} CACHE FILEPATH
    "PEM file of the RSA public key (2048 bits) of the network-access authentication")

get_filename_component(auth_key_path ${VENDORDIAG_AUTH_PUBLIC_KEY} ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR})
if(NOT EXISTS ${auth_key_path})
  message(FATAL_ERROR "VENDORDIAG_AUTH_PUBLIC_KEY names no file: ${auth_key_path}")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${auth_key_path})

file(READ ${auth_key_path} VENDORDIAG_AUTH_KEY_TEXT)
string(REPLACE "\r\n" "\n" VENDORDIAG_AUTH_KEY_TEXT "${VENDORDIAG_AUTH_KEY_TEXT}")
if(NOT VENDORDIAG_AUTH_KEY_TEXT MATCHES "^-----BEGIN PUBLIC KEY-----\n[A-Za-z0-9+/=\n]+-----END PUBLIC KEY-----\n?$")
  message(FATAL_ERROR "VENDORDIAG_AUTH_PUBLIC_KEY is no PEM public key: ${auth_key_path}")
endif()

# The same text under another path is still the development key.
file(READ ${VENDORDIAG_AUTH_DEV_KEY} auth_dev_key_text)
if(VENDORDIAG_PLATFORM STREQUAL "android" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug" AND VENDORDIAG_AUTH_KEY_TEXT STREQUAL auth_dev_key_text)
  message(WARNING "This release build for a phone carries the development key, which anybody can answer for: "
                  "set VENDORDIAG_AUTH_PUBLIC_KEY to the product's key")
endif()

configure_file(${CMAKE_SOURCE_DIR}/ftm/ftm_auth_key.cpp.in ${CMAKE_BINARY_DIR}/generated/ftm_auth_key.cpp @ONLY)
