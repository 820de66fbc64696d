# Compiles the daemon as a phone's build system does (clang, its C++ library, no run-time types), against the headers of
# the phone's cryptography, log and property libraries, and with the flags of a release: small, and hard to misuse when
# something goes wrong all the same. docs/porting.md says why exceptions are on.
find_path(VENDORDIAG_PHONE_HEADERS openssl/base.h PATHS /usr/include/android NO_DEFAULT_PATH REQUIRED)
add_compile_options(-DANDROID -fno-rtti -fexceptions -fno-short-enums -Werror=format-security)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-stdlib=libc++)
  add_link_options(-stdlib=libc++)
endif()
add_compile_options(-fPIE -fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections
  -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  add_compile_options(-mbranch-protection=standard)
endif()
# A result that is ignored on purpose is cast to void, which the fortified headers of this C library do not accept.
add_compile_options(-Wno-unused-result)
add_link_options(-Wl,--gc-sections -Wl,-z,relro,-z,now -Wl,-z,defs -Wl,-z,noexecstack)
