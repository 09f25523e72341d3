# precompile(TARGET HEADER...): has the headers that most files of a target include compiled once. Only test builds do so
# (NUVRUSB_PCH): the release build shows that every file includes what it needs.
function(precompile target)
  if(NUVRUSB_PCH)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
