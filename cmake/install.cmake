# What cmake --install installs, in four components: runtime (the shared libraries), development (the
# headers, static libraries, and descriptions for find_package and pkg-config), tools and docs.

include(CMakePackageConfigHelpers)

set(KIVMIME_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KIVMIME)
set(KIVMIME_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/kivmime)

# ---- Libraries -----------------------------------------------------------------------------------

# kivmime_install_library(TARGET EXPORT)
function(kivmime_install_library target export)
  install(TARGETS ${target} EXPORT ${export}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT ${export} NAMESPACE KIVMIME::
    DESTINATION ${KIVMIME_PACKAGE_DIR} COMPONENT development)
endfunction()

kivmime_install_library(KIVMIME KIVMIMETargets)
if(KIVMIME_HTML)
  kivmime_install_library(KIVMIME_Html KIVMIMEHtmlTargets)
endif()

# ---- Headers -------------------------------------------------------------------------------------
# Those that hosts include, and those that these include. tests/install/run.sh finds what is missing or
# too many.

# kivmime_install_headers(FOLDER FILES...): below the include folder, from the folder of that name here.
function(kivmime_install_headers folder)
  set(source ${folder})
  if(folder MATCHES "^mime")
    set(source etc/${folder})
  endif()
  list(TRANSFORM ARGN PREPEND ${source}/)
  install(FILES ${ARGN} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT development)
endfunction()

kivmime_install_headers(mime decoding.h mail.h mime.h read_options.h version.h)
if(KIVMIME_HTML)
  kivmime_install_headers(mime html.h)
endif()
kivmime_install_headers(mime/mail address.h date.h errors.inc mail.h mail_folder.h result.h sink.h text_charset.h)
kivmime_install_headers(mime/writing composer.h edit.h write_options.h)
kivmime_install_headers(mime/encoding transfer_encodings.inc)
kivmime_install_headers(mime/parser deviations.inc)
kivmime_install_headers(mime/vocabulary headers.inc subtypes.inc types.inc)
kivmime_install_headers(kivgui
  ansi_str.h blob.h charset.h convert.h disk_file.h error.h export.h file.h kivgui.h memory.h memory_file.h
  random.h reference.h replaced_file.h shared_array.h skip_list_map.h stream.h token_iterator.h)
kivmime_install_headers(kivgui/host event.h host.h lock.h val.h)
kivmime_install_headers(kivsec detached_signature.h pkcs7_msg.h)

# ---- find_package --------------------------------------------------------------------------------

# A static library leaves it to the host to link what a shared one has linked already.
set(KIVMIME_NEEDS_OPENSSL OFF)
if(NOT KIVMIME_SHARED AND "OpenSSL::Crypto" IN_LIST KIVMIME_SYSTEM_LIBS)
  set(KIVMIME_NEEDS_OPENSSL ON)
endif()
configure_package_config_file(cmake/KIVMIMEConfig.cmake.in ${PROJECT_BINARY_DIR}/KIVMIMEConfig.cmake
  INSTALL_DESTINATION ${KIVMIME_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KIVMIMEConfigVersion.cmake
  COMPATIBILITY ${KIVMIME_COMPATIBILITY})
install(FILES
  ${PROJECT_BINARY_DIR}/KIVMIMEConfig.cmake ${PROJECT_BINARY_DIR}/KIVMIMEConfigVersion.cmake
  DESTINATION ${KIVMIME_PACKAGE_DIR} COMPONENT development)
if(KIVMIME_HTML AND NOT KIVMIME_SHARED)
  install(FILES cmake/FindGumbo.cmake DESTINATION ${KIVMIME_PACKAGE_DIR} COMPONENT development)
endif()

# ---- pkg-config ----------------------------------------------------------------------------------
# What a static library needs is private: pkg-config --static says it.

file(RELATIVE_PATH KIVMIME_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(KIVMIME_PC_DEFINES "")
set(KIVMIME_PC_PRIVATE "")
set(KIVMIME_HTML_PC_PRIVATE "")
if(NOT KIVMIME_SHARED)
  set(KIVMIME_PC_DEFINES " -DKIV_STATIC")
  set(libs ${KIVMIME_SYSTEM_LIBS})
  list(REMOVE_ITEM libs OpenSSL::Crypto)
  list(TRANSFORM libs PREPEND " -l")
  string(JOIN "" libs " ${CMAKE_THREAD_LIBS_INIT}" ${libs})
  set(KIVMIME_PC_PRIVATE "\nLibs.private:${libs}")
  if(KIVMIME_NEEDS_OPENSSL)
    string(APPEND KIVMIME_PC_PRIVATE "\nRequires.private: libcrypto >= 3")
  endif()
  set(KIVMIME_HTML_PC_PRIVATE "\nLibs.private: -lgumbo")
endif()
configure_file(cmake/kivmime.pc.in ${PROJECT_BINARY_DIR}/kivmime.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kivmime.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
if(KIVMIME_HTML)
  configure_file(cmake/kivmime-html.pc.in ${PROJECT_BINARY_DIR}/kivmime-html.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kivmime-html.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

# ---- The program, documents ----------------------------------------------------------------------

if(KIVMIME_BUILD_TOOLS)
  install(TARGETS kivmime RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
# In the folders of the source tree, so that the links between them stay right.
install(FILES README.md CHANGELOG.md DESTINATION ${KIVMIME_DOC_DIR} COMPONENT docs)
install(DIRECTORY docs examples DESTINATION ${KIVMIME_DOC_DIR} COMPONENT docs
  FILES_MATCHING PATTERN *.md PATTERN *.svg PATTERN *.schema.json PATTERN examples/*.cpp PATTERN examples/*.py
  PATTERN reference EXCLUDE PATTERN data EXCLUDE PATTERN expected EXCLUDE PATTERN run_document.py EXCLUDE
  PATTERN check_*.py EXCLUDE)
