# Installation by the usual directories, and the Debian package. Below share/vendordiag/ files stand to each other as in
# the source tree, so that scripts and plans find what they name.
set(data ${CMAKE_INSTALL_DATADIR}/vendordiag)
set(doc ${CMAKE_INSTALL_DATADIR}/doc/vendordiag-tools)
set(made ${CMAKE_BINARY_DIR}/install)
set(zsh ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(EXISTS /etc/debian_version)
  set(zsh ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
endif()

install(TARGETS vdiag vendordiag rdss-chip RUNTIME COMPONENT tools)
install(PROGRAMS ${CMAKE_BINARY_DIR}/tools/phone/vdiag-phone TYPE BIN COMPONENT tools)
install(FILES tools/phone/vdiag-phone.service DESTINATION lib/systemd/user COMPONENT tools)
install(DIRECTORY device DESTINATION ${data} USE_SOURCE_PERMISSIONS COMPONENT tools PATTERN .gitkeep EXCLUDE)
install(PROGRAMS tools/phone/make-phone.sh tools/phone/boot-phone.sh tools/phone/press-key.sh
  DESTINATION ${data}/tools/phone COMPONENT tools)
install(DIRECTORY schema DESTINATION ${data} COMPONENT tools)
install(DIRECTORY docs/plans DESTINATION ${data}/docs COMPONENT tools)
install(DIRECTORY tests/cases DESTINATION ${data}/tests COMPONENT tools)
install(FILES keys/README.md keys/auth_dev_private.pem keys/auth_dev_public.pem DESTINATION ${data}/keys COMPONENT tools)
install(FILES README.md docs/simulated-phone.md docs/serving.md docs/records.md docs/trust.md TYPE DOC COMPONENT tools)

# The Python package, with what tells installers and pytest about it.
set(VENDORDIAG_PYTHON_DIR lib/python3/dist-packages CACHE PATH "Where Python finds packages, below the prefix")
install(DIRECTORY python/vdiag DESTINATION ${VENDORDIAG_PYTHON_DIR} COMPONENT tools PATTERN __pycache__ EXCLUDE)
file(CONFIGURE OUTPUT ${made}/vdiag.dist-info/METADATA CONTENT "Metadata-Version: 2.1\nName: vdiag\nVersion: @PROJECT_VERSION@\n")
file(CONFIGURE OUTPUT ${made}/vdiag.dist-info/entry_points.txt CONTENT "[pytest11]\nvdiag = vdiag.pytest_plugin\n")
install(DIRECTORY ${made}/vdiag.dist-info/ DESTINATION ${VENDORDIAG_PYTHON_DIR}/vdiag-${PROJECT_VERSION}.dist-info
  COMPONENT tools)
install(DIRECTORY python/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools PATTERN __pycache__ EXCLUDE)

# What the client writes about itself, and everything that is installed compressed.
file(TIMESTAMP ${CMAKE_SOURCE_DIR}/CHANGELOG.md changed "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(maintainer "Developers of vendordiag <vendordiag@example.org>")
file(CONFIGURE OUTPUT ${made}/changelog.Debian @ONLY CONTENT "vendordiag (@PROJECT_VERSION@-1) unstable; urgency=medium

  * As upstream's changelog.gz says.

 -- @maintainer@  @changed@
")
set(compressed "")
function(compressed name source)
  add_custom_command(OUTPUT ${made}/${name}.gz
    COMMAND gzip -9nc ${source} > ${made}/${name}.gz DEPENDS ${source} VERBATIM)
  set(compressed ${compressed} ${made}/${name}.gz PARENT_SCOPE)
endfunction()
function(written name)
  add_custom_command(OUTPUT ${made}/${name}
    COMMAND vdiag ${ARGN} > ${made}/${name} DEPENDS vdiag VERBATIM)
  set(written ${written} ${made}/${name} PARENT_SCOPE)
endfunction()
written(vdiag.1 generate-manual page)
written(commands.md generate-manual)
written(vdiag completion bash)
written(_vdiag completion zsh)
written(vdiag.fish completion fish)
compressed(vdiag.1 ${made}/vdiag.1)
compressed(vdiag-phone.1 ${CMAKE_SOURCE_DIR}/tools/phone/vdiag-phone.1)
compressed(vendordiag.1 ${CMAKE_SOURCE_DIR}/packaging/vendordiag.1)
compressed(rdss-chip.1 ${CMAKE_SOURCE_DIR}/packaging/rdss-chip.1)
compressed(changelog ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
compressed(changelog.Debian ${made}/changelog.Debian)
add_custom_target(install_files ALL DEPENDS ${written} ${compressed})

install(FILES ${made}/vdiag.1.gz ${made}/vdiag-phone.1.gz ${made}/vendordiag.1.gz ${made}/rdss-chip.1.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES ${made}/vdiag DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
install(FILES ${made}/_vdiag DESTINATION ${zsh} COMPONENT tools)
install(FILES ${made}/vdiag.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
install(FILES ${made}/commands.md ${made}/changelog.gz ${made}/changelog.Debian.gz packaging/copyright TYPE DOC COMPONENT tools)
install(FILES ${made}/changelog.gz ${made}/changelog.Debian.gz packaging/copyright
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvdiag-dev COMPONENT dev)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vendordiag-tools)
set(CPACK_PACKAGE_VENDOR vendordiag)
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE vendordiag)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tools dev)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vendordiag-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
# Loaded when a task needs it, and what the Python package needs.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "libedit2, python3")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/prerm)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "factory diagnostics of phones: client and simulated phone
A client for the factory-diagnostics daemon of a phone, for the command
line, test plans and other programs, and a simulated phone on which every
command and plan can be tried without hardware.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvdiag-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION "factory diagnostics of phones: C++ library
The client for the factory-diagnostics daemon of a phone as a library for
C++ programs, with its header, a CMake package and an example.")
include(CPack)
