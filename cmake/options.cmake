# kt_options: what every target of ours is compiled with.
add_library(kt_options INTERFACE)
target_compile_options(kt_options INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wformat=2)

option(KT_WERROR "warnings are errors" ON)
if(KT_WERROR)
    target_compile_options(kt_options INTERFACE -Werror)
endif()

set(KT_SANITIZE "" CACHE STRING "sanitizers, as -fsanitize= takes them")
if(KT_SANITIZE)
    # For everything, GoogleTest included: a part without instrumentation hides what it does from the others.
    add_compile_options(-fsanitize=${KT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KT_SANITIZE})
endif()

# An undefined symbol is found when a library is linked, not when a daemon starts on the board. Sanitizers leave their
# runtime to the program.
if(NOT KT_SANITIZE)
    string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,-z,defs")
endif()
