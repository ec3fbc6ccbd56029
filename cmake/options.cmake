# Compile options that every target of the project shares, ccache, and the sanitizers.
find_program(IIF_CCACHE ccache)
if(IIF_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${IIF_CCACHE})
endif()

add_library(iif_options INTERFACE)
target_compile_options(iif_options INTERFACE -Wall -Wextra -Werror)
target_include_directories(iif_options INTERFACE ${PROJECT_SOURCE_DIR})
if(IIF_SANITIZE)
  target_compile_options(iif_options INTERFACE -fsanitize=${IIF_SANITIZE} -fno-omit-frame-pointer
                                               -fno-sanitize-recover=all)
  target_link_options(iif_options INTERFACE -fsanitize=${IIF_SANITIZE})
  # In instrumented code gcc sees uses of uninitialized values that are not there.
  target_compile_options(iif_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  if(IIF_SANITIZE MATCHES thread)
    # ThreadSanitizer does not know fences; the queues' own locks order the handlers all the same.
    target_compile_definitions(iif_options INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
endif()

# All .cpp files below the given folders, found anew at each build.
function(iif_sources result)
  set(found)
  foreach(folder IN LISTS ARGN)
    file(GLOB_RECURSE here CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND found ${here})
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# What a program that uses an installed library needs to know of it.
function(iif_installed_interface library)
  target_include_directories(${library} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/index_iface>)
  target_compile_features(${library} INTERFACE cxx_std_20)
endfunction()
