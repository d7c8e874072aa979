# Refuses an interpreter of another version than the module reads the insides of (runtime/python.hpp).
if(NOT Python3_VERSION MATCHES "^3\\.11(\\.|$)")
  message(FATAL_ERROR "vswitchpy is for Python 3.11, and ${PYTHON} is Python ${Python3_VERSION}")
endif()
