# Warnings on, for every target of the project. Clang (the fuzzing build) spells the
# local-shadowing warning differently.
add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-Wshadow-uncaptured-local)
else()
    add_compile_options(-Wshadow=local)
endif()
add_compile_definitions(QT_NO_KEYWORDS)
