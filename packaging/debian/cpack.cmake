# Read by cpack before it begins.
set(SHLIBDEPS_EXECUTABLE ${CMAKE_CURRENT_LIST_DIR}/shlibdeps)
