# Installs the headers, libraries, CMake and pkg-config packages, documents, examples, manual pages, programs and the shell
# completion. dist/CMakeLists.txt installs the files for the bus.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/hevraproxy)

# Builds exactly the targets that are installed.
add_custom_target(hevra-installed DEPENDS HevraProxy HevraProxyStatic HevraStack
  $<TARGET_NAME_IF_EXISTS:hevractl> $<TARGET_NAME_IF_EXISTS:hevra-stackd>)

# find_package(HevraProxy) defines HevraProxy::HevraProxy, HevraProxy::HevraProxyStatic and HevraProxy::HevraStack.
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/HevraProxy)
install(TARGETS HevraProxy HevraProxyStatic HevraStack EXPORT HevraProxyTargets
  FILE_SET HEADERS DESTINATION ${headers} INCLUDES DESTINATION ${headers})
install(EXPORT HevraProxyTargets NAMESPACE HevraProxy:: DESTINATION ${package})
configure_package_config_file(cmake/HevraProxyConfig.cmake.in HevraProxyConfig.cmake INSTALL_DESTINATION ${package}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(HevraProxyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/HevraProxyConfig.cmake ${PROJECT_BINARY_DIR}/HevraProxyConfigVersion.cmake
  DESTINATION ${package})

# The .pc files compute the prefix from their own place, so you can move an installation.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
foreach(name hevraproxy hevrastack)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES README.md NEWS.md SECURITY.md LICENSE NOTICES DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
  PATTERN docs/man EXCLUDE PATTERN docs/api EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
  REGEX "examples/(CMakeLists.txt|demo.sh)$" EXCLUDE)

# If scdoc is installed, makes manSECTION/NAME.SECTION from docs/man/NAME.SECTION.scd.
file(GLOB pages CONFIGURE_DEPENDS docs/man/*.scd)
find_program(HEVRA_SCDOC scdoc)
if(pages AND HEVRA_SCDOC)
  foreach(page ${pages})
    cmake_path(GET page STEM LAST_ONLY name)
    string(REGEX REPLACE ".*\\." "" section ${name})
    set(made ${PROJECT_BINARY_DIR}/man/${name})
    add_custom_command(OUTPUT ${made} DEPENDS ${page}
      COMMAND sh -c "mkdir -p man && '${HEVRA_SCDOC}' <'${page}' >'${made}'" VERBATIM)
    list(APPEND made_pages ${made})
    install(FILES ${made} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
  endforeach()
  add_custom_target(hevra-man ALL DEPENDS ${made_pages})
  add_dependencies(hevra-installed hevra-man)
elseif(pages)
  message(STATUS "scdoc is not installed; the manual pages are not built")
endif()

if(HEVRA_BUILD_TOOLS)
  install(TARGETS hevractl hevra-stackd)
  foreach(program hevractl hevra-stackd)
    install(FILES tools/completion/${program}.bash OPTIONAL
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program})
  endforeach()
endif()
