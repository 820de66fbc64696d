# The host's programs read what others send: they are built as a distribution builds such programs. Builds with sanitizers
# have better means.
if(VENDORDIAG_SANITIZE)
  return()
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)
# Fortified headers want optimisation, and accept no result that is ignored by a cast to void.
set(fortified $<NOT:$<CONFIG:Debug>>)
add_compile_options($<${fortified}:-U_FORTIFY_SOURCE> $<${fortified}:-D_FORTIFY_SOURCE=2> $<${fortified}:-Wno-unused-result>)
