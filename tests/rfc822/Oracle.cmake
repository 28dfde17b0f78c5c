# qob_address_oracle: the generated parser that the library's own is compared with, in tests and by the fuzz target.
# Generated code is not held to our warnings.
find_package(BISON 3.8 REQUIRED)
if(NOT TARGET qob_address_oracle)
  set(generated ${PROJECT_BINARY_DIR}/address_oracle)
  file(MAKE_DIRECTORY ${generated})
  bison_target(address_oracle ${CMAKE_CURRENT_LIST_DIR}/address_oracle.yy ${generated}/address_oracle.cc)
  add_library(qob_address_oracle STATIC ${BISON_address_oracle_OUTPUTS})
  target_include_directories(qob_address_oracle PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(qob_address_oracle PRIVATE -w)
endif()
