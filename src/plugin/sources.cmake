# Sources of the boundary (vesk_plugin): plugin object, guard, dispatcher, parsers. The entry
# points (Exports.cpp) are compiled into the shared module itself.
target_sources(vesk_plugin PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/BoundedJson.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CommandFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RequestDispatcher.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RequestParsers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RequestSkeleton.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VeskCryptoPlugin.cpp
)
