# Sources of the model layer (vesk_model): records, their JSON, the answer envelope.
target_sources(vesk_model PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Answer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Results.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SignOptions.cpp
)
