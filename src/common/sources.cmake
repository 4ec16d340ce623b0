# Sources of the common layer (vesk_common): settings, logging, files, base64.
target_sources(vesk_common PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AtomicFileWrite.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Base64.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileIdentity.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileTools.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Logging.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Settings.cpp
)
