# What `cmake --install` puts where.
install(TARGETS qob3xapi qobplatform EXPORT qob3xapi LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/qob3xapi include/qobplatform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
