# Installation for module authors: the two libraries with versioned sonames, their headers, the
# hosts and tools, the data the library loads, the demo modules, a CMake package
# (find_package(Zendola) -> Zendola::zendola, Zendola::quorl, zendola_add_module) and a pkg-config
# file; CPack makes a Debian package of the same install. Included at the end of the top level,
# once every target exists.
#
#   <prefix>/lib/libzendola.so.<major>.<minor>, libquorl.so.<major>.<minor>   (+ the .so links)
#   <prefix>/include/game/..., include/quorl/...                            the two include roots
#   <prefix>/bin/zendola-server, zendola-nodes
#   <prefix>/lib/zendola/modules/demo/                                      the demo's two modules
#   <prefix>/share/zendola/data/                                            fonts, models, shaders, samples
#   <prefix>/lib/cmake/Zendola/, lib/pkgconfig/zendola.pc

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZENDOLA_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Zendola)
set(ZENDOLA_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/zendola/data)
set(ZENDOLA_INSTALL_MODULEDIR ${CMAKE_INSTALL_LIBDIR}/zendola/modules)

# Before 1.0 every minor version may change the binary contract with modules: the soname
# carries major and minor.
set(ZENDOLA_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set_target_properties(zendola quorl PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${ZENDOLA_SOVERSION})

# Installed files find each other relative to where they are, so the install can be moved
# (a temporary prefix, a staging folder, /usr).
set_target_properties(zendola quorl PROPERTIES INSTALL_RPATH "$ORIGIN")
set(ZENDOLA_INSTALLED_PROGRAMS zendola-server zendola-nodes zendola-client)
foreach(program IN LISTS ZENDOLA_INSTALLED_PROGRAMS)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

# Users of the package compile with the same language level as the library's headers need.
target_compile_features(zendola PUBLIC cxx_std_20)

# The include folders of the two targets point into the source tree; an installed user gets
# <prefix>/include instead. Folders outside the tree (the distribution's imgui and stb headers)
# stay as they are. Those are also collected for the pkg-config file.
set(ZENDOLA_PC_SYSTEM_INCLUDES)
foreach(target zendola quorl)
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  set(rewritten)
  foreach(dir IN LISTS dirs)
    cmake_path(IS_PREFIX ZENDOLA_ROOT "${dir}" NORMALIZE in_source)
    cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${dir}" NORMALIZE in_build)
    if(dir MATCHES "^\\$<")
      list(APPEND rewritten "${dir}")
    elseif(in_source OR in_build)
      list(APPEND rewritten "$<BUILD_INTERFACE:${dir}>")
    else()
      list(APPEND rewritten "${dir}")
      list(APPEND ZENDOLA_PC_SYSTEM_INCLUDES "-I${dir}")
    endif()
  endforeach()
  list(APPEND rewritten "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${rewritten}")
endforeach()
list(REMOVE_DUPLICATES ZENDOLA_PC_SYSTEM_INCLUDES)

# What the exported targets link publicly, and how the package finds it again for its user:
# one row per imported target (name, then the lines that bring it back). A public link to an
# imported target that is not in this table gives a warning here, and the installed package
# refuses to load, naming it (the install test fails on that), rather than failing later in its
# users' builds.
set(ZENDOLA_DEPENDENCY_TABLE
  "Threads::Threads|find_dependency(Threads)"
  "glm::glm|find_dependency(glm)"
  "ZLIB::ZLIB|find_dependency(ZLIB)"
  "nlohmann_json::nlohmann_json|find_dependency(nlohmann_json 3)"
  "yaml-cpp|find_dependency(yaml-cpp)"
  "Vulkan::Vulkan|find_dependency(Vulkan)"
  "Vulkan::Headers|find_dependency(Vulkan)"
  "OpenAL::OpenAL|find_dependency(OpenAL)"
  "PkgConfig::GLFW3|find_dependency(PkgConfig)\npkg_check_modules(GLFW3 REQUIRED IMPORTED_TARGET glfw3)"
)
set(ZENDOLA_FIND_DEPENDENCIES)
set(ZENDOLA_UNPACKAGED_DEPENDENCIES)
foreach(target zendola quorl)
  get_target_property(links ${target} INTERFACE_LINK_LIBRARIES)
  foreach(link IN LISTS links)
    string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" link "${link}")
    if(link STREQUAL "zendola" OR link STREQUAL "quorl" OR NOT TARGET ${link})
      continue()  # our own targets, and plain -l names
    endif()
    set(found FALSE)
    foreach(row IN LISTS ZENDOLA_DEPENDENCY_TABLE)
      string(FIND "${row}" "|" bar)
      string(SUBSTRING "${row}" 0 ${bar} name)
      if(name STREQUAL link)
        math(EXPR bar "${bar} + 1")
        string(SUBSTRING "${row}" ${bar} -1 lines)
        string(APPEND ZENDOLA_FIND_DEPENDENCIES "${lines}\n")
        set(found TRUE)
      endif()
    endforeach()
    if(NOT found)
      message(WARNING "cmake/Install.cmake: ${target} links ${link} publicly; add how the installed "
                      "package finds it to ZENDOLA_DEPENDENCY_TABLE")
      list(APPEND ZENDOLA_UNPACKAGED_DEPENDENCIES ${link})
    endif()
  endforeach()
endforeach()
# Each dependency once, in the order first met.
string(REPLACE "\n" ";" dependency_lines "${ZENDOLA_FIND_DEPENDENCIES}")
list(REMOVE_DUPLICATES dependency_lines)
list(JOIN dependency_lines "\n" ZENDOLA_FIND_DEPENDENCIES)

install(TARGETS zendola quorl EXPORT ZendolaTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT ZendolaTargets NAMESPACE Zendola:: DESTINATION ${ZENDOLA_INSTALL_CMAKEDIR})

# Headers: every header under the two include roots, in the same folders.
foreach(root src/game engine/quorl)
  get_filename_component(leaf ${root} NAME)
  install(DIRECTORY ${ZENDOLA_ROOT}/${root}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${leaf}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp" PATTERN "*.inl")
endforeach()

# The data the library and the demo read, as the run folder's data/ folder holds it, with the
# shaders that glslc compiled into <build>/data beside their sources.
install(DIRECTORY ${ZENDOLA_ROOT}/data/ DESTINATION ${ZENDOLA_INSTALL_DATADIR})
install(DIRECTORY ${CMAKE_BINARY_DIR}/data/ DESTINATION ${ZENDOLA_INSTALL_DATADIR} FILES_MATCHING PATTERN "*.spv")

# The demo's modules, in the modules/<name>/ form the loader reads.
foreach(class SERVER_Mod ZENDOLA_Mod)
  if(TARGET module_demo_${class})
    install(TARGETS module_demo_${class} LIBRARY DESTINATION ${ZENDOLA_INSTALL_MODULEDIR}/demo)
  endif()
endforeach()

# The CMake package.
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZendolaConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/ZendolaConfig.cmake
  INSTALL_DESTINATION ${ZENDOLA_INSTALL_CMAKEDIR}
  PATH_VARS ZENDOLA_INSTALL_DATADIR ZENDOLA_INSTALL_MODULEDIR)
# 0.x: a module built against 0.1 needs 0.1 exactly; from 1.0 on, the same major version.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(compatibility SameMinorVersion)
else()
  set(compatibility SameMajorVersion)
endif()
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/ZendolaConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY ${compatibility})
install(FILES ${CMAKE_BINARY_DIR}/package/ZendolaConfig.cmake
              ${CMAKE_BINARY_DIR}/package/ZendolaConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/ZendolaModule.cmake
        DESTINATION ${ZENDOLA_INSTALL_CMAKEDIR})

# pkg-config, for other build systems. Definitions are those the targets carry now.
set(ZENDOLA_PC_DEFINITIONS)
foreach(target zendola quorl)
  get_target_property(defs ${target} INTERFACE_COMPILE_DEFINITIONS)
  foreach(def IN LISTS defs)
    if(def AND NOT def MATCHES "\\$<")
      list(APPEND ZENDOLA_PC_DEFINITIONS "-D${def}")
    endif()
  endforeach()
endforeach()
list(REMOVE_DUPLICATES ZENDOLA_PC_DEFINITIONS)
list(JOIN ZENDOLA_PC_DEFINITIONS " " ZENDOLA_PC_DEFINITIONS)
list(JOIN ZENDOLA_PC_SYSTEM_INCLUDES " " ZENDOLA_PC_SYSTEM_INCLUDES)
# The prefix is found from the file's own place, so the install stays movable.
file(RELATIVE_PATH ZENDOLA_PC_PREFIX_FROM_PCDIR /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zendola.pc.in ${CMAKE_BINARY_DIR}/package/zendola.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/zendola.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The whole install, into a temporary prefix: the module template is built against it out of
# tree and run in the installed server.
if(ZENDOLA_TESTS)
  add_test(NAME install.module_template
    COMMAND ${CMAKE_COMMAND}
      -DBUILD_DIR=${CMAKE_BINARY_DIR}
      -DWORK_DIR=${CMAKE_BINARY_DIR}/install-test
      -DTEMPLATE_DIR=${ZENDOLA_ROOT}/examples/module-template
      -DVERSION=${PROJECT_VERSION}
      -DSOVERSION=${ZENDOLA_SOVERSION}
      -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
      -DGENERATOR=${CMAKE_GENERATOR}
      -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
      -P ${ZENDOLA_ROOT}/tests/install/ModuleTemplate.cmake)
  set_tests_properties(install.module_template PROPERTIES TIMEOUT 600)
endif()

# cpack -G DEB: one package with everything above, installed under /usr.
set(CPACK_PACKAGE_NAME zendola)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Zendola developers")
set(CPACK_PACKAGE_CONTACT "Zendola developers <zendola@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "game library of a space sandbox, with its server host and tools, for module authors")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The packaged libraries resolve each other: dpkg-shlibdeps looks for libquorl beside libzendola.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
# The headers and the CMake package need these development packages on the user's machine.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "libglm-dev, nlohmann-json3-dev, libyaml-cpp-dev, zlib1g-dev, libstb-dev, libimgui-dev, libvulkan-dev, pkg-config")
include(CPack)
