# Warnings are errors, in every file of the tree.
add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-align -Wcast-qual
  -Wformat=2 -Wundef -Wmissing-declarations -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wvla)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wduplicated-cond -Wduplicated-branches -Wlogical-op)
endif()
