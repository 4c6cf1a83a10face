# The library's translation catalogues: translations/configdialogs_<lang>.ts
# in the source tree, compiled with lrelease and embedded as the Qt resource
# ":/i18n/configdialogs_<lang>.qm" (resource name configdialogs_i18n).
#
# Target configdialogs_update_translations re-extracts the texts from the
# library's sources into every catalogue with lupdate; new texts then show
# as unfinished until translated.

set(CONFIGDIALOGS_TRANSLATION_SOURCE_DIRS ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
file(GLOB CONFIGDIALOGS_TS_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/translations/*.ts)

# Sets out_var to the generated source that registers the resource. Builds
# through the target configdialogs_i18n, on which every library target that
# lists the source must depend (so that parallel builds make it once).
function(configdialogs_embed_translations out_var)
    set(qm_dir ${CMAKE_CURRENT_BINARY_DIR}/i18n)
    set(qrc ${CMAKE_CURRENT_BINARY_DIR}/configdialogs_i18n.qrc)
    set(cpp ${CMAKE_CURRENT_BINARY_DIR}/qrc_configdialogs_i18n.cpp)
    set(qm_files)
    set(qrc_entries)
    foreach(ts ${CONFIGDIALOGS_TS_FILES})
        get_filename_component(stem ${ts} NAME_WE)
        set(qm ${qm_dir}/${stem}.qm)
        add_custom_command(OUTPUT ${qm}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${qm_dir}
            COMMAND Qt${QT_MAJOR_VERSION}::lrelease -silent ${ts} -qm ${qm}
            DEPENDS ${ts}
            COMMENT "Compiling translations ${stem}"
            VERBATIM)
        list(APPEND qm_files ${qm})
        string(APPEND qrc_entries "        <file alias=\"${stem}.qm\">${qm}</file>\n")
    endforeach()
    file(CONFIGURE OUTPUT ${qrc} CONTENT
        "<RCC>\n    <qresource prefix=\"/i18n\">\n${qrc_entries}    </qresource>\n</RCC>\n")
    add_custom_command(OUTPUT ${cpp}
        COMMAND Qt${QT_MAJOR_VERSION}::rcc --name configdialogs_i18n --output ${cpp} ${qrc}
        DEPENDS ${qrc} ${qm_files}
        COMMENT "Embedding translations"
        VERBATIM)
    set_source_files_properties(${cpp} PROPERTIES GENERATED ON SKIP_AUTOGEN ON)
    add_custom_target(configdialogs_i18n DEPENDS ${cpp})

    add_custom_target(configdialogs_update_translations
        COMMAND Qt${QT_MAJOR_VERSION}::lupdate -silent -locations none -no-obsolete -extensions cpp,h
            ${CONFIGDIALOGS_TRANSLATION_SOURCE_DIRS} -ts ${CONFIGDIALOGS_TS_FILES}
        COMMENT "Extracting translatable texts into translations/*.ts"
        VERBATIM)
    set(${out_var} ${cpp} PARENT_SCOPE)
endfunction()
