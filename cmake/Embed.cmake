# embed(TARGET NAMESPACE FILE...): builds files into a target. Each becomes an entry { name, contents } of the array
# NAMESPACE::files, declared in platform/host/Embedded.h.
function(embed target namespace)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_${namespace}.cpp)
  set(script ${PROJECT_SOURCE_DIR}/cmake/EmbedFiles.cmake)
  set(files ${ARGN})
  list(TRANSFORM files PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  string(REPLACE ";" "|" joined "${files}")
  add_custom_command(
    OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${source} -DNAMESPACE=${namespace} "-DFILES=${joined}" -P ${script}
    DEPENDS ${files} ${script}
    VERBATIM)
  target_sources(${target} PRIVATE ${source})
endfunction()
