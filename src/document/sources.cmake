# Sources of the document signers and verifiers, part of vesk_core.
target_sources(vesk_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PAdESTypeSigner.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfCiphers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfFonts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfFormAppearances.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfIncrementalUpdate.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfShownPage.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfNesting.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfPages.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfRequestTexts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfSignatureFields.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfSignatureProbe.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfStampCanvas.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfStamping.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfSteps.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfStreamDecryption.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfUpdateStart.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfWatermark.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Win1251Encoding.cpp
)
