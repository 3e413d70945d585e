# What a host gets: the library, the public headers, the tables that the public header includes, and a
# description for find_package and for pkg-config.

include(CMakePackageConfigHelpers)

set(KIVMIME_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KIVMIME)

install(TARGETS KIVMIME EXPORT KIVMIMETargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KIVMIMETargets NAMESPACE KIVMIME:: DESTINATION ${KIVMIME_PACKAGE_DIR})

install(FILES etc/mime/mail.h etc/mime/mime.h etc/mime/decoding.h etc/mime/read_options.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime)
install(FILES
  etc/mime/mail/address.h
  etc/mime/mail/date.h
  etc/mime/mail/errors.inc
  etc/mime/mail/mail.h
  etc/mime/mail/mail_folder.h
  etc/mime/mail/result.h
  etc/mime/mail/sink.h
  etc/mime/mail/text_charset.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime/mail)
install(FILES etc/mime/writing/composer.h etc/mime/writing/edit.h etc/mime/writing/write_options.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime/writing)
install(FILES etc/mime/encoding/transfer_encodings.inc
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime/encoding)
install(FILES etc/mime/parser/deviations.inc DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime/parser)
install(FILES
  etc/mime/vocabulary/types.inc
  etc/mime/vocabulary/subtypes.inc
  etc/mime/vocabulary/headers.inc
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime/vocabulary)
file(GLOB kivgui_public_headers CONFIGURE_DEPENDS kivgui/*.h)
list(FILTER kivgui_public_headers EXCLUDE REGEX
  "/(base64_kernel|thread_data)\\.h$")    # for our own sources
install(FILES ${kivgui_public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kivgui)
install(FILES
  kivgui/host/event.h kivgui/host/host.h kivgui/host/lock.h kivgui/host/val.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kivgui/host)
install(FILES kivsec/pkcs7_msg.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kivsec)

if(KIVMIME_HTML)
  install(TARGETS KIVMIME_Html EXPORT KIVMIMEHtmlTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT KIVMIMEHtmlTargets NAMESPACE KIVMIME:: DESTINATION ${KIVMIME_PACKAGE_DIR})
  install(FILES etc/mime/html.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mime)
  if(NOT KIVMIME_SHARED)
    install(FILES cmake/FindGumbo.cmake DESTINATION ${KIVMIME_PACKAGE_DIR})
  endif()
endif()

set(KIVMIME_NEEDS_OPENSSL OFF)
if(NOT KIVMIME_SHARED AND "OpenSSL::Crypto" IN_LIST KIVMIME_SYSTEM_LIBS)
  set(KIVMIME_NEEDS_OPENSSL ON)
endif()
configure_package_config_file(cmake/KIVMIMEConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KIVMIMEConfig.cmake
  INSTALL_DESTINATION ${KIVMIME_PACKAGE_DIR})
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KIVMIMEConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/KIVMIMEConfig.cmake
  ${PROJECT_BINARY_DIR}/KIVMIMEConfigVersion.cmake
  DESTINATION ${KIVMIME_PACKAGE_DIR})

# A static library passes on to the host what a shared one has linked already.
set(KIVMIME_PC_DEFINES "")
set(KIVMIME_PC_LIBS "")
if(NOT KIVMIME_SHARED)
  set(KIVMIME_PC_DEFINES " -DKIV_STATIC")
  set(KIVMIME_PC_LIBS " ${CMAKE_THREAD_LIBS_INIT}")
  foreach(lib IN LISTS KIVMIME_SYSTEM_LIBS)
    string(REPLACE "OpenSSL::Crypto" "crypto" lib ${lib})
    string(APPEND KIVMIME_PC_LIBS " -l${lib}")
  endforeach()
  string(STRIP "${KIVMIME_PC_LIBS}" KIVMIME_PC_LIBS)
  string(PREPEND KIVMIME_PC_LIBS " ")
endif()
file(RELATIVE_PATH KIVMIME_PC_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/kivmime.pc.in ${PROJECT_BINARY_DIR}/kivmime.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kivmime.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(KIVMIME_HTML)
  set(KIVMIME_HTML_PC_LIBS "")
  if(NOT KIVMIME_SHARED)
    set(KIVMIME_HTML_PC_LIBS " -lgumbo")
  endif()
  configure_file(cmake/kivmime-html.pc.in ${PROJECT_BINARY_DIR}/kivmime-html.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kivmime-html.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

if(KIVMIME_BUILD_TOOLS)
  install(TARGETS kivmime RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
