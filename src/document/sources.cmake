# Sources of the document signers and verifiers, part of vesk_core.
target_sources(vesk_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PAdESTypeSigner.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfFonts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfNesting.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfPages.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfRequestTexts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfSignatureFields.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfWatermark.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Win1251Encoding.cpp
)
