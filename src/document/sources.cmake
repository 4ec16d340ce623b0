# Sources of the document signers and verifiers, part of vesk_core.
target_sources(vesk_core PRIVATE
)
