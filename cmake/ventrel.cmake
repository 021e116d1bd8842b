# Helpers: warnings for our own code, one library per subsystem folder, one test per file.

function(ventrel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror -Wno-unknown-pragmas)
  if(VENTREL_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer
                           -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()

# ventrel_subsystem(name dep...): library ventrel_<name> from src/<name>/*.cpp. A dependency that
# names another subsystem links ventrel_<dep>; anything else is linked as given.
function(ventrel_subsystem name)
  file(GLOB srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  set(deps OpenMP::OpenMP_CXX)
  foreach(d ${ARGN})
    if(TARGET ventrel_${d})
      list(APPEND deps ventrel_${d})
    else()
      list(APPEND deps ${d})
    endif()
  endforeach()
  if(srcs)
    add_library(ventrel_${name} STATIC ${srcs})
    target_include_directories(ventrel_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(ventrel_${name} PUBLIC ${deps})
    ventrel_warnings(ventrel_${name})
    if(VENTREL_SANITIZE)
      target_link_options(ventrel_${name} INTERFACE -fsanitize=address,undefined)
    endif()
  else()
    add_library(ventrel_${name} INTERFACE)
    target_include_directories(ventrel_${name} INTERFACE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(ventrel_${name} INTERFACE ${deps})
  endif()
endfunction()

# ventrel_add_test(file lib...): one GoogleTest executable for one test file, registered with
# CTest under the name <subsystem>.<file stem>.
function(ventrel_add_test file)
  get_filename_component(stem ${file} NAME_WE)
  get_filename_component(dir ${file} DIRECTORY)
  get_filename_component(sub ${dir} NAME)
  set(exe test_${sub}_${stem})
  add_executable(${exe} ${file})
  target_link_libraries(${exe} PRIVATE ${ARGN} GTest::gtest_main)
  target_compile_definitions(${exe} PRIVATE
    VENTREL_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    VENTREL_BINARY="$<TARGET_FILE:ventrel>")
  ventrel_warnings(${exe})
  add_test(NAME ${sub}.${stem} COMMAND ${exe} WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
endfunction()
