# How every file of this project is compiled. Generated code and foreign headers are system code and are not held to it.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_program(QOB_CCACHE ccache)
if(QOB_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${QOB_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QOB_CCACHE})
endif()

add_library(qob_compile INTERFACE)
target_include_directories(qob_compile INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
target_compile_definitions(qob_compile INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(qob_compile INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<BOOL:${QOB_WERROR}>:-Werror>
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -fno-omit-frame-pointer)

if(QOB_SANITIZE)
  add_compile_options(-fsanitize=${QOB_SANITIZE} -fno-sanitize-recover=all -g)
  add_link_options(-fsanitize=${QOB_SANITIZE})
endif()
if(QOB_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(QOB_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
