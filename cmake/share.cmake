# The manual page, put into the program for `kelvane manual`.
function(kelvane_manual target)
  set(page "${PROJECT_SOURCE_DIR}/docs/kelvane.1.in")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${page}")
  file(READ "${page}" content)
  set(source "#include \"cli/verbs/manual_command.h\"\n\nnamespace kelvane::cli {\n
const std::string_view kManualText = R\"kelvane(${content})kelvane\";\n\n}  // namespace kelvane::cli\n")
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/manual_page.cpp" CONTENT "@source@" @ONLY)
  target_sources(${target} PRIVATE "${PROJECT_BINARY_DIR}/manual_page.cpp")
endfunction()

# What the program writes about itself for the places where manuals and completions are looked for, below share/ of
# the build folder, and the rules that install it.
function(kelvane_share)
  set(outputs)
  foreach(one IN ITEMS "man/man1/kelvane.1 manual" "bash-completion/completions/kelvane completion bash"
                       "zsh/site-functions/_kelvane completion zsh")
    separate_arguments(one)
    list(POP_FRONT one file)
    set(output "${PROJECT_BINARY_DIR}/share/${file}")
    cmake_path(GET output PARENT_PATH folder)
    add_custom_command(OUTPUT "${output}" DEPENDS kelvane VERBATIM
                       COMMAND "${CMAKE_COMMAND}" -E make_directory "${folder}"
                       COMMAND kelvane ${one} > "${output}")
    list(APPEND outputs "${output}")
    cmake_path(GET file PARENT_PATH installed)
    set(component COMPONENT command)
    if(installed STREQUAL "zsh/site-functions")
      # Those of packages are looked for elsewhere.
      install(FILES "${output}" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions"
              COMPONENT command EXCLUDE_FROM_ALL)
      set(component COMPONENT zsh)
    endif()
    install(FILES "${output}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${installed}" ${component})
  endforeach()
  add_custom_target(kelvane_share ALL DEPENDS ${outputs})
endfunction()
