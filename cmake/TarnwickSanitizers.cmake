# TW_SANITIZERS=address,undefined builds everything with those sanitizers.
if(TW_SANITIZERS)
    string(REPLACE "," ";" _tw_sanitizers "${TW_SANITIZERS}")
    foreach(_san IN LISTS _tw_sanitizers)
        add_compile_options(-fsanitize=${_san})
        add_link_options(-fsanitize=${_san})
    endforeach()
    add_compile_options(-fno-omit-frame-pointer -fno-sanitize-recover=undefined)
endif()
