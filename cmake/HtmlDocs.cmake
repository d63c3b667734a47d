# docs/ and README.md as HTML, one page each, for those who read without a Markdown viewer.
if(NOT ORQ_HTML_DOCS)
  message(STATUS "Pages of docs/ as HTML: off, because ORQ_HTML_DOCS is OFF")
  return()
endif()
find_program(ORQ_PANDOC pandoc REQUIRED)

set(html ${CMAKE_BINARY_DIR}/html)
set(html_sources ${CMAKE_SOURCE_DIR}/packaging/html)
file(GLOB pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/*.md)
set(html_files)
foreach(page ${CMAKE_SOURCE_DIR}/README.md ${pages})
  get_filename_component(name ${page} NAME_WE)
  set(title "orqcam: ${name}")
  if(name STREQUAL "README")
    set(name index)
    set(title orqcam)
  endif()
  add_custom_command(OUTPUT ${html}/${name}.html
                     COMMAND ${CMAKE_COMMAND} -E make_directory ${html}
                     COMMAND ${ORQ_PANDOC} --from gfm --to html5 --standalone --wrap none
                             --lua-filter ${html_sources}/links.lua --css style.css --variable document-css=false
                             --metadata "pagetitle=${title}" --output ${html}/${name}.html ${page}
                     DEPENDS ${page} ${html_sources}/links.lua
                     COMMENT "HTML page ${name}" VERBATIM)
  list(APPEND html_files ${html}/${name}.html)
endforeach()
add_custom_target(orq_html ALL DEPENDS ${html_files})

file(GLOB pictures CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/*.png)
install(FILES ${html_files} ${pictures} ${html_sources}/style.css DESTINATION ${CMAKE_INSTALL_DOCDIR}/html)
