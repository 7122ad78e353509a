# zendola_add_module(NAME CLASS SOURCES...): a run-time module of the installed library.
#
# CLASS is the kind's class word: GAME_Init, GAME_Mod, SERVER_Mod or ZENDOLA_Mod. The module is
# built as ${ZENDOLA_MODULES_DIR}/NAME/NAME.CLASS.so, the file the loader opens for
# LoadModule("NAME") from a run folder whose modules/ folder is ZENDOLA_MODULES_DIR; that is
# <build folder>/modules unless the project sets ZENDOLA_MODULES_DIR first. The target is
# module_NAME_CLASS, linked to Zendola::zendola.
function(zendola_add_module name class)
  if(NOT class MATCHES "^(GAME_Init|GAME_Mod|SERVER_Mod|ZENDOLA_Mod)$")
    message(FATAL_ERROR "zendola_add_module(${name} ${class}): the class must be one of GAME_Init, "
                        "GAME_Mod, SERVER_Mod, ZENDOLA_Mod")
  endif()
  # The names the loader and the server accept: one folder, no way out of modules/.
  if(NOT name MATCHES "^[A-Za-z0-9_-][A-Za-z0-9_.-]*$" OR name MATCHES "\\.\\.")
    message(FATAL_ERROR "zendola_add_module(${name} ${class}): a module name is letters, digits, "
                        "'_', '-' and '.', not starting with '.'")
  endif()
  if(NOT ARGN)
    message(FATAL_ERROR "zendola_add_module(${name} ${class}): no sources")
  endif()
  if(NOT ZENDOLA_MODULES_DIR)
    set(ZENDOLA_MODULES_DIR ${CMAKE_BINARY_DIR}/modules)
  endif()
  set(target module_${name}_${class})
  add_library(${target} MODULE ${ARGN})
  target_link_libraries(${target} PRIVATE Zendola::zendola)
  set_target_properties(${target} PROPERTIES
    PREFIX ""
    SUFFIX ".so"
    OUTPUT_NAME ${name}.${class}
    LIBRARY_OUTPUT_DIRECTORY ${ZENDOLA_MODULES_DIR}/${name})
endfunction()
