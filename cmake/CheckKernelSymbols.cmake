# Fails unless every function and variable that a kernel object offers to the linker bears its level in its name.
# Anything else (an inline function of the library, say) could be the copy that the linker keeps for everybody, and
# would then run with the level's instructions on machines that lack them.
#   cmake -DNM=nm "-DOBJECTS=a.o|b.o" -P CheckKernelSymbols.cmake
string(REPLACE "|" ";" objects "${OBJECTS}")
set(offered 0)
foreach(object ${objects})
  execute_process(COMMAND ${NM} --defined-only --extern-only ${object} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
  foreach(line ${lines})
    string(REGEX REPLACE "^.* " "" symbol "${line}")
    if(NOT symbol MATCHES "^_ZN3mlh[0-9]+[A-Za-z]*KernelsILi[3-6]E")
      message(SEND_ERROR "${object} offers ${symbol}")
    endif()
    math(EXPR offered "${offered} + 1")
  endforeach()
endforeach()
if(offered EQUAL 0)
  message(FATAL_ERROR "no symbols found")
endif()
message("${offered} symbols, each of its own level")
