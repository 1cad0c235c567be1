# Run at install time (install(CODE) of ZelConfigInstall.cmake): writes the
# pkg-config files from their templates in ZELCONFIG_PC_DIR, with a run path
# to ${libdir} in zelconfig.pc's Libs when the libdir installed into is not
# one of ZELCONFIG_PC_LOADER_DIRS. The decision waits for the install's own
# prefix (CMAKE_INSTALL_PREFIX here is --prefix when given); a system's
# package, installed under /usr, carries none.
set(_libdir "${ZELCONFIG_PC_INSTALL_LIBDIR}")
if(NOT IS_ABSOLUTE "${_libdir}")
  set(_libdir "${CMAKE_INSTALL_PREFIX}/${_libdir}")
endif()
get_filename_component(_libdir "${_libdir}" ABSOLUTE)
set(ZELCONFIG_PC_RPATH "-Wl,-rpath,\${libdir} ")
foreach(_dir IN LISTS ZELCONFIG_PC_LOADER_DIRS)
  get_filename_component(_dir "${_dir}" ABSOLUTE)
  if(_dir STREQUAL _libdir)
    set(ZELCONFIG_PC_RPATH "")
  endif()
endforeach()
foreach(_pc IN LISTS ZELCONFIG_PC_FILES)
  configure_file(${ZELCONFIG_PC_DIR}/${_pc}.pc.in ${ZELCONFIG_PC_DIR}/${_pc}.pc @ONLY)
endforeach()
