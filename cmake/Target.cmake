# Flags of the daemon for a phone: small, and hard to misuse when something goes wrong all the same.
add_compile_options(-fPIE -fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections
  -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  add_compile_options(-mbranch-protection=standard)
endif()
# A result that is ignored on purpose is cast to void, which the fortified headers of this C library do not accept.
add_compile_options(-Wno-unused-result)
add_link_options(-pie -Wl,--gc-sections -Wl,-z,relro,-z,now -Wl,-z,defs -Wl,-z,noexecstack)
