# Build helpers shared by every folder of the project.

get_filename_component(ZENDOLA_ROOT ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)

# __FILE__ relative to the source tree: assertion messages name "src/game/...".
add_compile_options(-fmacro-prefix-map=${ZENDOLA_ROOT}/=)
# The physics step gives the same results bit for bit on every machine and in every variant
# of its wide loops: no fused multiply-add where the source writes a product and a sum.
add_compile_options(-ffp-contract=off)
# Calls inside a shared library to its own functions may be inlined: nothing replaces them at
# load time.
add_compile_options(-fno-semantic-interposition)

if(ZENDOLA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZENDOLA_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

function(zendola_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(ZENDOLA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# add_subdirectory for every child folder of DIR that has a CMakeLists.txt.
function(zendola_add_subdirs dir)
  file(GLOB children LIST_DIRECTORIES true ${ZENDOLA_ROOT}/${dir}/*)
  foreach(child ${children})
    if(IS_DIRECTORY ${child} AND EXISTS ${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()

# A run-time module: <build>/modules/NAME/NAME.CLASS.so, loaded with dlopen.
# CLASS is the class word of the module's kind (GAME_Init, GAME_Mod, SERVER_Mod, ZENDOLA_Mod).
function(zendola_add_module name class)
  set(target module_${name}_${class})
  add_library(${target} MODULE ${ARGN})
  target_link_libraries(${target} PRIVATE zendola)
  set_target_properties(${target} PROPERTIES
    PREFIX ""
    OUTPUT_NAME ${name}.${class}
    LIBRARY_OUTPUT_DIRECTORY ${ZENDOLA_MODULES_DIR}/${name})
  zendola_warnings(${target})
  set_property(GLOBAL APPEND PROPERTY ZENDOLA_MODULE_TARGETS ${target})
endfunction()

# One GoogleTest executable from every .cpp below DIR; each test is its own CTest case.
function(zendola_add_test_suite name dir)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${ZENDOLA_ROOT}/${dir}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE zendola GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${ZENDOLA_ROOT}/tests)
  target_compile_definitions(${name} PRIVATE
    ZENDOLA_SOURCE_DIR="${ZENDOLA_ROOT}" ZENDOLA_BINARY_DIR="${CMAKE_BINARY_DIR}")
  zendola_warnings(${name})
  get_property(mods GLOBAL PROPERTY ZENDOLA_MODULE_TARGETS)
  if(mods)
    add_dependencies(${name} ${mods})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
    PROPERTIES TIMEOUT 300)
endfunction()

# Fuzz targets: fuzz/NAME.cpp defines LLVMFuzzerTestOneInput.
# With clang they link libFuzzer; with any compiler a replayer runs the kept corpus
# fuzz/corpus/NAME/ (crashes found earlier included) as a CTest case.
function(zendola_add_fuzzers)
  file(GLOB sources CONFIGURE_DEPENDS ${ZENDOLA_ROOT}/fuzz/*.cpp)
  foreach(src ${sources})
    get_filename_component(name ${src} NAME_WE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      add_executable(fuzz_${name} ${src})
      target_compile_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
      target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    else()
      add_executable(fuzz_${name} ${src} ${ZENDOLA_ROOT}/fuzz/replay/ReplayMain.cpp)
    endif()
    target_link_libraries(fuzz_${name} PRIVATE zendola)
    zendola_warnings(fuzz_${name})
    if(ZENDOLA_TESTS AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      add_test(NAME fuzz_corpus.${name}
        COMMAND fuzz_${name} ${ZENDOLA_ROOT}/fuzz/corpus/${name}
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
    endif()
  endforeach()
endfunction()

# SPIR-V from every GLSL stage under data/ (.vert, .frag, .comp): <build>/data/<path>.<stage>.spv,
# built by glslc with data/ and the shader's folder as include paths. The target zendola_shaders
# builds them all.
function(zendola_add_shaders)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${ZENDOLA_ROOT}/data/*.vert ${ZENDOLA_ROOT}/data/*.frag
       ${ZENDOLA_ROOT}/data/*.comp)
  file(GLOB_RECURSE includes CONFIGURE_DEPENDS ${ZENDOLA_ROOT}/data/*.glsl)
  set(outputs)
  foreach(src ${sources})
    file(RELATIVE_PATH rel ${ZENDOLA_ROOT} ${src})
    get_filename_component(dir ${src} DIRECTORY)
    set(out ${CMAKE_BINARY_DIR}/${rel}.spv)
    add_custom_command(OUTPUT ${out}
      COMMAND ${Vulkan_GLSLC_EXECUTABLE} --target-env=vulkan1.3 -O -I ${ZENDOLA_ROOT}/data -I ${dir} ${src} -o ${out}
      DEPENDS ${src} ${includes}
      COMMENT "glslc ${rel}")
    list(APPEND outputs ${out})
  endforeach()
  add_custom_target(zendola_shaders ALL DEPENDS ${outputs})
endfunction()
