# docs/ and README.md as HTML, one page each in one folder, for those who read without a Markdown viewer.
if(NOT ORQ_HTML_DOCS)
  message(STATUS "Pages of docs/ as HTML: off, because ORQ_HTML_DOCS is OFF")
  return()
endif()
find_program(ORQ_PANDOC pandoc REQUIRED)

set(html ${CMAKE_BINARY_DIR}/html)
set(html_sources ${CMAKE_SOURCE_DIR}/packaging/html)
file(GLOB_RECURSE pages CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/docs/*.md)
set(html_files)
foreach(page README.md ${pages})
  # docs/sensors/l3.md is sensors-l3, docs/examples/README.md is examples.
  string(REGEX REPLACE "^docs/|(/README)?[.]md$" "" name ${page})
  string(REPLACE "/" "-" name ${name})
  set(title "orqcam: ${name}")
  if(name STREQUAL "README")
    set(name index)
    set(title orqcam)
  endif()
  add_custom_command(OUTPUT ${html}/${name}.html
                     COMMAND ${CMAKE_COMMAND} -E make_directory ${html}
                     COMMAND ${ORQ_PANDOC} --from gfm --to html5 --standalone --wrap none
                             --lua-filter ${html_sources}/links.lua --css style.css --variable document-css=false
                             --metadata "pagetitle=${title}" --output ${html}/${name}.html ${CMAKE_SOURCE_DIR}/${page}
                     DEPENDS ${CMAKE_SOURCE_DIR}/${page} ${html_sources}/links.lua
                     COMMENT "HTML page ${name}" VERBATIM)
  list(APPEND html_files ${html}/${name}.html)
endforeach()
add_custom_target(orq_html ALL DEPENDS ${html_files})

set(html_folder ${CMAKE_INSTALL_DOCDIR}/html)
install(FILES ${html_files} ${html_sources}/style.css DESTINATION ${html_folder})
file(GLOB_RECURSE pictures CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/docs ${CMAKE_SOURCE_DIR}/docs/*.png)
foreach(picture ${pictures})
  string(REPLACE "/" "-" name ${picture})
  install(FILES ${CMAKE_SOURCE_DIR}/docs/${picture} DESTINATION ${html_folder} RENAME ${name})
endforeach()
