# What makes a Windows program a file of the product.

# No file tells where it was built: messages name sources from the project's root, and debuggers
# look for them under /vandrel, which they can be told to find elsewhere. Of two options that fit, the
# later one counts; CMake follows .deps where it is a link.
if(WIN32)
    file(REAL_PATH ${PROJECT_SOURCE_DIR}/.deps dependencies)
    foreach(
        option
        macro-prefix-map=${PROJECT_SOURCE_DIR}/=
        macro-prefix-map=${dependencies}/=.deps/
        debug-prefix-map=${PROJECT_SOURCE_DIR}=/vandrel
        debug-prefix-map=${dependencies}=/vandrel/.deps)
        add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-f${option}>")
    endforeach()
endif()

# vandrel_windows_product(TARGET FILE_NAME): gives the program or library its version and manifest,
# asks for all that Windows does against misuse of its memory, and moves its debug symbols into
# FILE_NAME.debug beside it.
function(vandrel_windows_product target file_name)
    # The numbers under which Windows looks for a program's manifest, and for a library's.
    get_target_property(type ${target} TYPE)
    if(type STREQUAL EXECUTABLE)
        set(manifest_id 1)
        set(file_type VFT_APP)
    else()
        set(manifest_id 2)
        set(file_type VFT_DLL)
    endif()
    set(manifest ${PROJECT_SOURCE_DIR}/launcher/product.manifest)
    set(resources ${CMAKE_CURRENT_BINARY_DIR}/${file_name}.rc)
    configure_file(${PROJECT_SOURCE_DIR}/launcher/product.rc.in ${resources} @ONLY)
    set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS ${manifest})
    target_sources(${target} PRIVATE ${resources})

    # These are newer linkers' defaults; a linker that does not know them had better fail.
    target_link_options(
        ${target}
        PRIVATE
        LINKER:--dynamicbase
        LINKER:--high-entropy-va
        LINKER:--nxcompat
        LINKER:--enable-reloc-section)

    set(symbols ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file_name}.debug)
    add_custom_command(
        TARGET ${target}
        POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
        COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
        BYPRODUCTS ${symbols}
        VERBATIM)
endfunction()
