# The properties of a Windows program or library that is released.

# Build paths are removed: messages name sources relative to the project's root, and symbols refer to sources
# under /vandrel, for which debuggers can substitute another folder. If two options match, the later one is
# used. CMake resolves .deps if it is a link.
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

# vandrel_windows_product(TARGET FILE_NAME) adds version and manifest to the program or library, enables random
# addresses and memory that is not executed, and moves the debug symbols into FILE_NAME.debug in the same folder.
function(vandrel_windows_product target file_name)
    # The resource numbers of the manifests of programs and of libraries.
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

    # The first four are defaults of newer linkers; an older linker that does not know them must fail. Without the
    # time of linking in them, the same sources give the same files.
    target_link_options(
        ${target}
        PRIVATE
        LINKER:--dynamicbase
        LINKER:--high-entropy-va
        LINKER:--nxcompat
        LINKER:--enable-reloc-section
        LINKER:--no-insert-timestamp)

    set(symbols ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file_name}.debug)
    add_custom_command(
        TARGET ${target}
        POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --preserve-dates --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
        COMMAND ${CMAKE_OBJCOPY} --preserve-dates --strip-all --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
        BYPRODUCTS ${symbols}
        VERBATIM)
endfunction()
