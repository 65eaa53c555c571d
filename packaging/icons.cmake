# Draws the icon in all its sizes when the build is configured.  GRAVLIN_ICON_SIZES lists the sizes, and
# ${GRAVLIN_ICON_FOLDER}/SIZE.png is the picture.  All of them are installed for the desktop; gravlin.qrc adds some to
# the program.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
set(GRAVLIN_ICON_SIZES 16 24 32 48 64 128 256)
set(GRAVLIN_ICON_FOLDER ${CMAKE_BINARY_DIR}/icons)
set(drawing ${CMAKE_CURRENT_LIST_DIR}/gravlin.svg)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${drawing})
file(MAKE_DIRECTORY ${GRAVLIN_ICON_FOLDER})
foreach(size ${GRAVLIN_ICON_SIZES})
  set(picture ${GRAVLIN_ICON_FOLDER}/${size}.png)
  if(NOT EXISTS ${picture} OR ${drawing} IS_NEWER_THAN ${picture})
    execute_process(COMMAND ${RSVG_CONVERT} --width ${size} --height ${size} --output ${picture} ${drawing}
                    COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
file(WRITE ${GRAVLIN_ICON_FOLDER}/gravlin.qrc.new "<RCC><qresource prefix=\"/gravlin\">
<file>16.png</file><file>32.png</file><file>48.png</file><file>128.png</file>
</qresource></RCC>
")
file(COPY_FILE ${GRAVLIN_ICON_FOLDER}/gravlin.qrc.new ${GRAVLIN_ICON_FOLDER}/gravlin.qrc ONLY_IF_DIFFERENT)
