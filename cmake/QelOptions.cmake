# Compiler settings shared by every target of the project (not by third-party code).
add_library(qel_options INTERFACE)
target_compile_options(qel_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                             -Wold-style-cast)
if(QEL_WARNINGS_AS_ERRORS)
    target_compile_options(qel_options INTERFACE -Werror)
endif()
if(QEL_SANITIZE)
    target_compile_options(qel_options INTERFACE -fsanitize=${QEL_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
    target_link_options(qel_options INTERFACE -fsanitize=${QEL_SANITIZE})
endif()
if(WIN32)
    set(QEL_PLATFORM win)
else()
    set(QEL_PLATFORM posix)
endif()
