# Warnings on, for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow=local -Wnon-virtual-dtor)
add_compile_definitions(QT_NO_KEYWORDS)
