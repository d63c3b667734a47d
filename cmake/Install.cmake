# What `cmake --install` puts in place: the public library with what others need to link it, the tool, what belongs to it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS orqcam_shared orqcam_static orqcam
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/orqcam DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# Both packages find their libraries from where they lie themselves, so that the whole tree can be moved.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orqcam)
configure_package_config_file(packaging/orqcamConfig.cmake.in ${CMAKE_BINARY_DIR}/package/orqcamConfig.cmake
                              INSTALL_DESTINATION ${package_dir}
                              PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
# Until 1.0 a new minor version may break what was built with the one before.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/orqcamConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/orqcamConfig.cmake ${CMAKE_BINARY_DIR}/package/orqcamConfigVersion.cmake
        DESTINATION ${package_dir})

file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  set(pc_prefix "\${pcfiledir}/${pc_to_prefix}")
endif()
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})  # an absolute folder replaces what it is appended to
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(packaging/orqcam.pc.in ${CMAKE_BINARY_DIR}/package/orqcam.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/orqcam.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES packaging/70-orqcam.rules packaging/71-orqcam-usb-memory.rules DESTINATION lib/udev/rules.d)
install(FILES packaging/orqcam.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/orqcam.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME orqcam)
install(FILES packaging/orqcam.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _orqcam)
install(FILES packaging/orqcam.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
        PATTERN "__pycache__" EXCLUDE PATTERN "Doxyfile*" EXCLUDE)
