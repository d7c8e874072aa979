# What `cmake --install` puts where, and the Debian packages made of it; packaging/README.md tells users.

# `product` is built before; tests are nobody's to wait for.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(VSWITCHPY_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where modules are installed, below the prefix")
set(PRIVATE_HOST lib/vswitchpy/host)
set(DOCUMENTATION share/doc)
set(PREPARED ${PROJECT_BINARY_DIR}/installed)
file(MAKE_DIRECTORY ${PREPARED})

# Compresses a file as Debian's rules ask for it, the same whenever it is done.
function(compress source)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  get_filename_component(name ${source} NAME)
  execute_process(COMMAND gzip -9 --no-name --stdout ${source} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_FILE ${PREPARED}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# ---- component `module`: the module and its companion layer ---------------------------------------------

# The module again, linked for its installed place: the platform's own libraries come before the simulated host's.
file(RELATIVE_PATH TO_PRIVATE_HOST /${VSWITCHPY_PYTHON_DIR} /${PRIVATE_HOST})
add_library(installed_module MODULE $<TARGET_OBJECTS:module_objects> $<TARGET_OBJECTS:extension_objects>)
foreach(property LINK_LIBRARIES LINK_OPTIONS LINKER_LANGUAGE)
  get_target_property(value vswitchpy ${property})
  set_property(TARGET installed_module PROPERTY ${property} ${value})
endforeach()
set_target_properties(installed_module PROPERTIES
  OUTPUT_NAME vswitchpy
  INSTALL_RPATH "/$LIB:/usr/$LIB:/lib:/usr/lib:$ORIGIN/${TO_PRIVATE_HOST}"
  LIBRARY_OUTPUT_DIRECTORY ${PREPARED})

install(TARGETS installed_module DESTINATION ${VSWITCHPY_PYTHON_DIR} COMPONENT module)
# The interpreter imports it by the name of its entry point: a link, which is copied as one.
install(FILES ${PROJECT_BINARY_DIR}/python/_libvswitch.so DESTINATION ${VSWITCHPY_PYTHON_DIR} COMPONENT module)
install(TARGETS records DESTINATION ${VSWITCHPY_PYTHON_DIR}/libvswitch COMPONENT module)
install(FILES ${LAYER}/__init__.pyi DESTINATION ${VSWITCHPY_PYTHON_DIR}/libvswitch COMPONENT module)
install(FILES ${FAMILIES} DESTINATION ${VSWITCHPY_PYTHON_DIR}/vswitch/enums COMPONENT module)
foreach(source ${LAYER_SOURCES})
  get_filename_component(folder ${source} DIRECTORY)
  # Frames through simulated hosts come with these, and need nothing of the rest.
  set(component module)
  if(folder STREQUAL python/vswitch/simulated)
    set(component host)
  endif()
  string(REGEX REPLACE "^python" ${VSWITCHPY_PYTHON_DIR} folder ${folder})
  install(FILES ${source} DESTINATION ${folder} COMPONENT ${component})
endforeach()

# What tells Python of the package, and pytest of its plugin; in the build folder and installed.
set(METADATA vswitchpy-${PROJECT_VERSION}.dist-info)
configure_file(packaging/METADATA.in ${PROJECT_BINARY_DIR}/python/${METADATA}/METADATA @ONLY)
configure_file(packaging/entry_points.txt ${PROJECT_BINARY_DIR}/python/${METADATA}/entry_points.txt COPYONLY)
install(FILES ${PROJECT_BINARY_DIR}/python/${METADATA}/METADATA
  ${PROJECT_BINARY_DIR}/python/${METADATA}/entry_points.txt
  DESTINATION ${VSWITCHPY_PYTHON_DIR}/${METADATA} COMPONENT module)

# The command `vswitch`, in the build folder and installed.
function(make_command folder modules)
  file(RELATIVE_PATH TO_PYTHON /bin /${modules})
  configure_file(packaging/vswitch.in ${folder}/vswitch @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()
make_command(${PROJECT_BINARY_DIR}/bin python)
make_command(${PREPARED} ${VSWITCHPY_PYTHON_DIR})
install(PROGRAMS ${PREPARED}/vswitch DESTINATION bin COMPONENT module)
compress(packaging/vswitch.1)
install(FILES ${PREPARED}/vswitch.1.gz DESTINATION share/man/man1 COMPONENT module)

# ---- component `host`: the simulated host, its tool, and scripts to try on it ----------------------------

install(TARGETS vswitch dvs tlklibs vswitchsim DESTINATION ${PRIVATE_HOST} COMPONENT host)
set(SIMULATED_PLACE ${VSWITCHPY_PYTHON_DIR}/vswitch/simulated)
file(RELATIVE_PATH TO_PRIVATE_HOST /${SIMULATED_PLACE} /${PRIVATE_HOST})
set_target_properties(simulated PROPERTIES INSTALL_RPATH "$ORIGIN/${TO_PRIVATE_HOST}")
install(TARGETS simulated DESTINATION ${SIMULATED_PLACE} COMPONENT host)
install(FILES platform/sim/vswitch_sim.h DESTINATION include COMPONENT host)
# The tool finds the libraries from where it is; users find it by a link.
install(TARGETS vswitch-host DESTINATION ${PRIVATE_HOST}/bin COMPONENT host)
file(CREATE_LINK ../${PRIVATE_HOST}/bin/vswitch-host ${PREPARED}/vswitch-host SYMBOLIC)
install(FILES ${PREPARED}/vswitch-host DESTINATION bin COMPONENT host)
compress(packaging/vswitch-host.1)
install(FILES ${PREPARED}/vswitch-host.1.gz DESTINATION share/man/man1 COMPONENT host)
install(FILES docs/host.md DESTINATION ${DOCUMENTATION}/vswitchpy-host COMPONENT host)
install(DIRECTORY examples/ DESTINATION ${DOCUMENTATION}/vswitchpy-host/examples COMPONENT host
  FILES_MATCHING PATTERN *.py PATTERN __pycache__ EXCLUDE)

# ---- two Debian packages ----------------------------------------------------------------------------------

compress(packaging/changelog)
foreach(package "module vswitchpy" "host vswitchpy-host")
  separate_arguments(package)
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES LICENSE DESTINATION ${DOCUMENTATION}/${name} RENAME copyright COMPONENT ${component})
  install(FILES ${PREPARED}/changelog.gz DESTINATION ${DOCUMENTATION}/${name} COMPONENT ${component})
endforeach()
install(FILES packaging/lintian-overrides DESTINATION share/lintian/overrides RENAME vswitchpy COMPONENT module)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL module host)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "vswitchpy developers <developers@vswitchpy.invalid>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The module needs the platform's libraries, which are in no package; those that it is built with are here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/host)

math(EXPR NEXT_PYTHON "${Python3_VERSION_MINOR} + 1")
set(CPACK_DEBIAN_MODULE_PACKAGE_NAME vswitchpy)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION python)
# dpkg-shlibdeps does not see that packed relative relocations need this C library.
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS
  "libc6 (>= 2.36), python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${NEXT_PYTHON})")
string(APPEND CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS ", python3-cbor2, python3-click, python3-rich, python3-yaml")
set(CPACK_DEBIAN_MODULE_PACKAGE_RECOMMENDS "python3-prometheus-client, graphviz")
set(CPACK_DEBIAN_MODULE_PACKAGE_SUGGESTS vswitchpy-host)
set(CPACK_DEBIAN_MODULE_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/postinst ${PROJECT_SOURCE_DIR}/packaging/prerm)
set(CPACK_DEBIAN_MODULE_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_MODULE_DESCRIPTION "Python access to a host's virtual switches
Switches, ports, uplinks and teaming, MAC learning, VLAN and security policy,
multicast filters, link aggregation, mirroring, runtime options and the
property store: the package vswitch, and below it the modules libvswitch and
_libvswitch, with type stubs.
.
The modules need the platform's libraries libvswitch.so, libdvs.so and
libtlklibs.so. Where the system has none, those of the package vswitchpy-host
are used.")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME vswitchpy-host)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION net)
set(CPACK_DEBIAN_HOST_PACKAGE_ENHANCES vswitchpy)
set(CPACK_DEBIAN_HOST_DESCRIPTION "simulated host for scripts that manage virtual switches
Implements the platform's libraries libvswitch.so, libdvs.so and libtlklibs.so
with state in a file, so that scripts which use the modules of the package
vswitchpy run on any machine. The tool vswitch-host shows and changes the
state, saves and restores it, and makes calls fail on demand.
.
Libraries of the platform itself are preferred to these.")
include(CPack)
