# The host's programs read what others send: they are built as a distribution builds such programs.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(NOT VENDORDIAG_SANITIZE)
  # Fortified headers want optimisation, and accept no result that is ignored by a cast to void.
  add_compile_options($<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>
    $<$<NOT:$<CONFIG:Debug>>:-Wno-unused-result>)
endif()
