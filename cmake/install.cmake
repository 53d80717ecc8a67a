# Where things go below the prefix. They find each other from there by relative paths alone, so that an installed tree
# may lie, or be moved, anywhere.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KY_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/kyxdcam)
set(KY_INSTALL_PLUGINDIR ${CMAKE_INSTALL_LIBDIR}/kyxdcam)
set(KY_INSTALL_TOOLDIR ${CMAKE_INSTALL_LIBEXECDIR}/kyxdcam)
set(KY_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/kyxdcam)
set(KY_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

foreach(folder BINDIR LIBDIR LIBEXECDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${folder} is a folder below the prefix, not ${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()

# From one folder below the prefix to another.
function(ky_relative_path result from to)
  file(RELATIVE_PATH path /${from} /${to})
  string(REGEX REPLACE "/$" "" path "${path}")
  set(${result} ${path} PARENT_SCOPE)
endfunction()

function(ky_finds_libraries_from target folder)
  ky_relative_path(libraries ${folder} ${CMAKE_INSTALL_LIBDIR})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
endfunction()

# ky_versioned(target [SONAME name]): the library's file carries the version. Programs record the name of the interface's
# major version, or that under which a library is known to every host whatever its version.
function(ky_versioned target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SONAME" "")
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(arg_SONAME)
    # Of several the linker takes the last, and libraries stand behind the generator's own.
    target_link_libraries(${target} PRIVATE -Wl,-soname,${arg_SONAME})
  endif()
endfunction()

# ky_install_library(target name): to be linked by others as ky::name.
function(ky_install_library target name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_compile_features(${target} INTERFACE cxx_std_20)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${KY_INSTALL_INCLUDEDIR}>)
  install(TARGETS ${target} EXPORT kyxdcam LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

install(EXPORT kyxdcam NAMESPACE ky:: FILE kyxdcamTargets.cmake DESTINATION ${KY_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/kyxdcamConfig.cmake.in ${KY_GENERATED_DIR}/kyxdcamConfig.cmake
  INSTALL_DESTINATION ${KY_INSTALL_CMAKEDIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${KY_GENERATED_DIR}/kyxdcamConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${KY_GENERATED_DIR}/kyxdcamConfig.cmake ${KY_GENERATED_DIR}/kyxdcamConfigVersion.cmake
  DESTINATION ${KY_INSTALL_CMAKEDIR})

ky_relative_path(KY_PC_PREFIX ${KY_INSTALL_PKGCONFIGDIR} "")
configure_file(cmake/kyxdcam.pc.in ${KY_GENERATED_DIR}/kyxdcam.pc @ONLY)
install(FILES ${KY_GENERATED_DIR}/kyxdcam.pc DESTINATION ${KY_INSTALL_PKGCONFIGDIR})
