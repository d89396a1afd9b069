# Gives the shared library the exports of one list: every function under its name and under the same name in
# capitals, and the exported data that is named last. dll: what the library is called on Windows.
function(bravic_export target list dll)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  if(WIN32)
    bravic_export_windows(${target} ${list} ${dll} "${ARGN}")
    return()
  endif()
  file(STRINGS ${list} names)
  set(map "{ global:\n")
  foreach(name IN LISTS ARGN)
    string(APPEND map "  ${name};\n")
  endforeach()
  set(aliases "")
  foreach(name IN LISTS names)
    string(TOUPPER ${name} capitals)
    string(APPEND map "  ${name}; ${capitals};\n")
    string(APPEND aliases "--defsym=${capitals}=${name}\n")
  endforeach()
  string(APPEND map "local: *; };\n")
  set(base ${CMAKE_CURRENT_BINARY_DIR}/${target})
  file(CONFIGURE OUTPUT ${base}.map CONTENT "${map}" @ONLY)
  file(CONFIGURE OUTPUT ${base}.aliases CONTENT "${aliases}" @ONLY)
  target_link_options(${target} PRIVATE -Wl,--version-script=${base}.map -Wl,@${base}.aliases)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${base}.map ${base}.aliases)
endfunction()

# The DLL and its import library (libbravic.dll.a): the names exported are bare; those to link with in 32 bits end in
# "@" and the number of bytes of arguments, as compilers decorate the standard calling convention.
function(bravic_export_windows target list dll data)
  set(def ${CMAKE_CURRENT_BINARY_DIR}/${dll}.def)
  add_custom_command(OUTPUT ${def}
                     COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=$<TARGET_FILE:${target}_static> -DLIST=${list}
                             -DDLL=${dll}.dll "-DDATA=${data}" -DDEF=${def}
                             -P ${PROJECT_SOURCE_DIR}/cmake/WriteDef.cmake
                     DEPENDS ${target}_static ${list} ${PROJECT_SOURCE_DIR}/cmake/WriteDef.cmake VERBATIM)
  target_sources(${target} PRIVATE ${def})
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_NAME ${dll} PREFIX "")
  target_link_options(${target} PRIVATE -Wl,--kill-at)
  # The linker's own import library would have the bare names alone.
  add_custom_command(TARGET ${target} POST_BUILD
                     COMMAND ${CMAKE_DLLTOOL} --kill-at --def ${def} --output-lib $<TARGET_LINKER_FILE:${target}>
                     VERBATIM)
  if(BRAVIC_INSTALL)
    install(FILES ${def} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
endfunction()
