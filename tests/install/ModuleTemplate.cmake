# The install as a module author meets it: install the build into a temporary prefix, build
# examples/module-template out of tree against it with only find_package(Zendola), run the
# installed zendola-server with that module, and read the entity it saved. A second run restores
# the entity and goes on counting. Also checks the sonames and --version of the programs.
#
# cmake -DBUILD_DIR=... -DWORK_DIR=... -DTEMPLATE_DIR=... -DVERSION=... -DSOVERSION=... -DLIBDIR=...
#       -DGENERATOR=... -DCXX_COMPILER=... -P ModuleTemplate.cmake
cmake_minimum_required(VERSION 3.25)

set(TICKS 60)
set(MODULE MY_beacons)
set(WORLD install-test)

function(run what)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT;WORKING_DIRECTORY" "COMMAND")
  if(NOT arg_WORKING_DIRECTORY)
    set(arg_WORKING_DIRECTORY ${WORK_DIR})
  endif()
  execute_process(COMMAND ${arg_COMMAND} WORKING_DIRECTORY ${arg_WORKING_DIRECTORY}
                  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${arg_COMMAND}\n${out}\n${err}")
  endif()
  if(arg_OUTPUT)
    set(${arg_OUTPUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

run("install" COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The libraries carry their version in the soname, and the development links point at them.
foreach(lib zendola quorl)
  set(file ${prefix}/${LIBDIR}/lib${lib}.so.${SOVERSION})
  if(NOT EXISTS ${file} OR NOT IS_SYMLINK ${prefix}/${LIBDIR}/lib${lib}.so)
    message(FATAL_ERROR "lib${lib}: expected ${file} and the link lib${lib}.so")
  endif()
  run("readelf lib${lib}" COMMAND readelf -d ${file} OUTPUT dynamic)
  if(NOT dynamic MATCHES "soname: \\[lib${lib}\\.so\\.${SOVERSION}\\]")
    message(FATAL_ERROR "lib${lib}: soname is not lib${lib}.so.${SOVERSION}:\n${dynamic}")
  endif()
endforeach()

# Every program names the project's version.
foreach(program zendola-server zendola-nodes)
  run("${program} --version" COMMAND ${prefix}/bin/${program} --version OUTPUT out)
  if(NOT out STREQUAL "${program} ${VERSION}\n")
    message(FATAL_ERROR "${program} --version printed '${out}', not '${program} ${VERSION}'")
  endif()
endforeach()

# The template, out of tree, with nothing but the install to find Zendola by.
set(build ${WORK_DIR}/template)
run("configure the template" COMMAND ${CMAKE_COMMAND} -S ${TEMPLATE_DIR} -B ${build} -G ${GENERATOR}
      -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug
      "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
file(STRINGS ${build}/CMakeCache.txt zendola_dir REGEX "^Zendola_DIR:")
string(FIND "${zendola_dir}" "${prefix}/" at)
if(NOT at GREATER -1)
  message(FATAL_ERROR "the template found Zendola outside the install: ${zendola_dir}")
endif()
run("build the template" COMMAND ${CMAKE_COMMAND} --build ${build})

# Runs the installed server on the template's build folder; returns the tick count that the
# beacon saved, read from its state file.
function(run_server label result)
  run("zendola-server (${label})" COMMAND ${prefix}/bin/zendola-server --dir ${build} --world ${WORLD}
        --modules ${MODULE} --content ${MODULE} --ticks ${TICKS} --unpaced --progress 0 OUTPUT out)
  if(NOT out MATCHES "Saved 1 entities")
    message(FATAL_ERROR "zendola-server (${label}) did not save one entity:\n${out}")
  endif()
  file(GLOB states ${WORK_DIR}/Zendola-data/server/worlds/${WORLD}/entities/*.entitystate)
  list(LENGTH states count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one saved entity after the ${label} run, found ${count}: ${states}")
  endif()
  file(READ ${states} hex HEX)
  # "ZENDOLA!" "ENTITY !", version 1, then the module id and the type "beacon" as a framed string.
  string(HEX "ZENDOLA!ENTITY !" magic)
  string(HEX "beacon" type)
  string(REPEAT "." 32 module_id)
  string(REPEAT "." 16 u64)
  if(NOT hex MATCHES "^${magic}01000000${module_id}0600000000000000${type}")
    message(FATAL_ERROR "the saved entity is not a beacon state file: ${hex}")
  endif()
  # The end: boundsRadius, the rest flag, "\n\n\n\n", the block (length 12: u32 format 1,
  # u64 ticks), "\nEOF".
  if(NOT hex MATCHES "(${u64})..0a0a0a0a0c0000000000000001000000(${u64})0a454f46$")
    message(FATAL_ERROR "the beacon's block is not where the state file ends: ${hex}")
  endif()
  # The bounds come from the colliders of the model file: none without it.
  if(CMAKE_MATCH_1 STREQUAL "0000000000000000")
    message(FATAL_ERROR "the beacon was saved without bounds: its model file was not read")
  endif()
  # The tick count, little-endian.
  set(bytes ${CMAKE_MATCH_2})
  set(ticks 0)
  foreach(i RANGE 7 0 -1)
    math(EXPR offset "${i} * 2")
    string(SUBSTRING ${bytes} ${offset} 2 byte)
    math(EXPR ticks "${ticks} * 256 + 0x${byte}")
  endforeach()
  set(${result} ${ticks} PARENT_SCOPE)
endfunction()

run_server("first" first)
if(NOT first EQUAL TICKS)
  message(FATAL_ERROR "the beacon saved ${first} ticks after a run of ${TICKS}")
endif()
run_server("second" second)
math(EXPR expected "2 * ${TICKS}")
if(NOT second EQUAL expected)
  message(FATAL_ERROR "the restored beacon saved ${second} ticks after two runs of ${TICKS}")
endif()

# Other build systems: the pkg-config file resolves with its requirements and names the version.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  run("pkg-config" COMMAND ${PKG_CONFIG} --print-errors --modversion zendola OUTPUT pc_version)
  run("pkg-config" COMMAND ${PKG_CONFIG} --print-errors --cflags --libs zendola)
  run("pkg-config" COMMAND ${PKG_CONFIG} --variable=includedir zendola OUTPUT pc_include)
  string(STRIP "${pc_include}" pc_include)
  cmake_path(NORMAL_PATH pc_include)
  if(NOT pc_version STREQUAL "${VERSION}\n" OR NOT pc_include STREQUAL "${prefix}/include")
    message(FATAL_ERROR "pkg-config: version '${pc_version}', include folder '${pc_include}'")
  endif()
endif()

file(REMOVE_RECURSE ${WORK_DIR})
