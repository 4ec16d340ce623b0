# Sources of the operations layer (vesk_crypto): operations, provider factory, format detection.
target_sources(vesk_crypto PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CertificateQueries.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CryptoProviderFactory.cpp
  ${CMAKE_CURRENT_LIST_DIR}/EnhanceOperation.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileRequests.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SignOperations.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SignTypeDeterminator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VerifyOperations.cpp
)
