# Programs of another processor in tests. A cross build runs them in CMAKE_CROSSCOMPILING_EMULATOR; a test that starts
# one itself (a session of the daemon, a test program that starts itself anew) needs one path for it instead.

# Writes a shell script that can be run.
function(beltpack_write_script file content)
  file(GENERATE OUTPUT ${file} CONTENT "#!/bin/sh\n${content}"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endfunction()

# Puts the shim, which is to be built in `folder`, where programs of the architecture look for it.
function(beltpack_link_shim architecture folder)
  set(place ${PROJECT_BINARY_DIR}/emulated/lib/${architecture})
  file(MAKE_DIRECTORY ${place})
  file(CREATE_LINK ${folder}/libbeltpack_shim.so ${place}/libbeltpack_shim.so SYMBOLIC)
endfunction()

# Sets `variable` to the path under which a test starts the target: its file, or in a cross build a script of the same
# name that runs it in the emulator. What is preloaded there is the shim of the target's own processor; the machine's own
# programs that it starts, such as the shell of popen(), find theirs under the same name: the dynamic linker has $LIB
# stand for the folder of its processor's libraries.
function(beltpack_runnable target variable)
  if(NOT CMAKE_CROSSCOMPILING)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set(script ${PROJECT_BINARY_DIR}/emulated/${target})
  set(${variable} ${script} PARENT_SCOPE)
  get_target_property(written ${target} BELTPACK_SCRIPT)
  if(NOT written)
    set_target_properties(${target} PROPERTIES BELTPACK_SCRIPT ${script})
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(preload "\${LD_PRELOAD:+-E LD_PRELOAD=${PROJECT_BINARY_DIR}/emulated/\\$LIB/libbeltpack_shim.so}")
    beltpack_write_script(${script} "exec ${emulator} -0 \"$0\" ${preload} '$<TARGET_FILE:${target}>' \"$@\"\n")
  endif()
endfunction()

# Sets `variable` to the folder in which beltpack_runnable() finds the target, for a test's PATH.
function(beltpack_runnable_folder target variable)
  if(CMAKE_CROSSCOMPILING)
    set(${variable} ${PROJECT_BINARY_DIR}/emulated PARENT_SCOPE)
  else()
    set(${variable} $<TARGET_FILE_DIR:${target}> PARENT_SCOPE)
  endif()
endfunction()

# Gives a test program that is run in the emulator its own script as argv[0], so that it can start itself anew.
function(beltpack_emulate_with_own_name target)
  if(CMAKE_CROSSCOMPILING)
    beltpack_runnable(${target} script)
    set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${CMAKE_CROSSCOMPILING_EMULATOR};-0;${script}")
  endif()
endfunction()

# A script that runs the simulator of the build `folder` with this build's daemon where no command is given.
function(beltpack_write_simulator_script script folder)
  beltpack_runnable(beltpack_fpui daemon)
  beltpack_write_script(${script} "case \" $* \" in
  *' -- '*) ;;
  *) set -- \"$@\" -- '${daemon}' ;;
esac
exec '${folder}/bin/beltpack_sim' \"$@\"
")
endfunction()

# Sets `variable` to the path of a simulator that runs here: this build's; that of the build BELTPACK_SIMULATOR_FROM,
# when it is set; or in a cross build one built for the machine itself. The latter two run this build's daemon. The
# records between simulator and shim are the same for all processors of one byte order. To be called once.
function(beltpack_simulator variable)
  if(NOT CMAKE_CROSSCOMPILING AND NOT BELTPACK_SIMULATOR_FROM)
    set(${variable} $<TARGET_FILE:beltpack_sim> PARENT_SCOPE)
    return()
  endif()
  set(folder ${BELTPACK_SIMULATOR_FROM})
  if(NOT folder)
    set(folder ${PROJECT_BINARY_DIR}/native)
    include(ExternalProject)
    ExternalProject_Add(native_simulator
      SOURCE_DIR ${PROJECT_SOURCE_DIR}
      BINARY_DIR ${folder}
      CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release -DBELTPACK_TESTS=OFF
      BUILD_COMMAND ${CMAKE_COMMAND} --build ${folder} --target beltpack_sim
      BUILD_ALWAYS ON
      INSTALL_COMMAND "")
  endif()
  if(CMAKE_CROSSCOMPILING)
    beltpack_link_shim(${CMAKE_LIBRARY_ARCHITECTURE} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
    beltpack_link_shim(${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu ${folder}/bin)
  endif()
  set(script ${PROJECT_BINARY_DIR}/emulated/beltpack_sim)
  set(${variable} ${script} PARENT_SCOPE)
  beltpack_write_simulator_script(${script} ${folder})
endfunction()
