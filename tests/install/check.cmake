# Installs the build, or unpacks a Debian package of it, into an empty folder, and builds and runs an outside project
# against it.
#   cmake -DBINARIES=... -DSOURCE=... -DWORK=... -P check.cmake
#   cmake -DPACKAGE=mlh.deb -DSOURCE=... -DWORK=... -P check.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${status}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
if(PACKAGE)
  file(MAKE_DIRECTORY ${WORK})
  run(dpkg-deb --extract ${PACKAGE} ${WORK}/unpacked)
  file(RENAME ${WORK}/unpacked/usr ${WORK}/prefix)
else()
  run(${CMAKE_COMMAND} --install ${BINARIES} --prefix ${WORK}/prefix)
endif()
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/with_shared)
run(${WORK}/build/with_static)

# The same through pkg-config.
file(GLOB_RECURSE pc ${WORK}/prefix/*/mlh.pc)
get_filename_component(pc_dir ${pc} DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} pkg-config --cflags --libs mlh
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
run(cc ${SOURCE}/with_shared.c ${flags} -Wl,-rpath,${lib_dir} -o ${WORK}/with_pkg_config)
run(${WORK}/with_pkg_config)
file(REMOVE_RECURSE ${WORK})
