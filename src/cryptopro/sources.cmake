# Sources of the CryptoPro binding and back-end (vesk_cryptopro).
target_sources(vesk_cryptopro PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CadesHandle.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpCertStoreHandler.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpCertificateStorage.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpExtract.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpMessageParam.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpSigner.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpStatusTexts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpTexts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CpVerifySign.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CryptoProInstallation.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CryptoProLibApi.cpp
)
