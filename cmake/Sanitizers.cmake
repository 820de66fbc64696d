if(VENDORDIAG_SANITIZE)
  add_compile_options(-fsanitize=${VENDORDIAG_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VENDORDIAG_SANITIZE})
endif()
