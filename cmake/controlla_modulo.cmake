# Checks the shipped module: it exports the two OFX entry points and nothing
# else, and carries its C++ runtime inside instead of needing the host's (the
# unwinder, libgcc_s, is the system's, shared with the host).
# Usage: cmake -DMODULO=path/to/VarnoColor.ofx -P controlla_modulo.cmake
execute_process(COMMAND nm -D --defined-only ${MODULO} OUTPUT_VARIABLE simboli RESULT_VARIABLE esito)
if(NOT esito EQUAL 0)
  message(FATAL_ERROR "nm failed on ${MODULO}")
endif()
string(REGEX MATCHALL "[^\n]+" righe "${simboli}")
set(nomi "")
foreach(riga ${righe})
  string(REGEX REPLACE "^.* " "" nome "${riga}")
  list(APPEND nomi ${nome})
endforeach()
list(SORT nomi)
if(NOT nomi STREQUAL "OfxGetNumberOfPlugins;OfxGetPlugin")
  message(FATAL_ERROR "the module exports more than its entry points: ${nomi}")
endif()
execute_process(COMMAND ldd ${MODULO} OUTPUT_VARIABLE dipendenze)
if(dipendenze MATCHES "libstdc\\+\\+")
  message(FATAL_ERROR "the module needs the host's C++ runtime:\n${dipendenze}")
endif()
message(STATUS "exports: ${nomi}")
