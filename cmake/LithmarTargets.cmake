# Settings shared by every target of the project.

if(LITHMAR_SANITIZE)
  string(REPLACE "," ";" _sanitizers "${LITHMAR_SANITIZE}")
  foreach(_s IN LISTS _sanitizers)
    add_compile_options(-fsanitize=${_s})
    add_link_options(-fsanitize=${_s})
  endforeach()
  # GCC's flow analysis sees the sanitizers' instrumentation and reports
  # uninitialised values in standard headers that are not there.
  add_compile_options(-fno-omit-frame-pointer -fno-sanitize-recover=all -Wno-maybe-uninitialized)
  if(LITHMAR_SANITIZE MATCHES "thread")
    # GCC warns that ThreadSanitizer does not model the fences in Asio's
    # handler invocation (timers, the socket client). They only back up the
    # mutexes of Asio's scheduler, which ThreadSanitizer does see.
    add_compile_options(-Wno-tsan)
  endif()
endif()

# Our own code builds warning-free; third-party headers come in as system headers.
function(lithmar_strict_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror)
endfunction()

# A shared library with hidden symbols, a versioned SONAME and an export header.
function(lithmar_shared_library target export_header)
  add_library(${target} SHARED)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    # Installed side by side, the exchange library finds the runtime next to it.
    INSTALL_RPATH "$ORIGIN")
  include(GenerateExportHeader)
  generate_export_header(${target} EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/${export_header})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  lithmar_strict_warnings(${target})
endfunction()
