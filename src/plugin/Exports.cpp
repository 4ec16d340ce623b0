// The module's four exported names, as Boost.DLL aliases in the "boostdll" section.

#include "plugin/RequestDispatcher.h"
#include "plugin/VeskCryptoPlugin.h"

#include <boost/dll/alias.hpp>

BOOST_DLL_ALIAS(VeskCryptoPlugin::create, createVeskCrypto)
BOOST_DLL_ALIAS(VeskCryptoPlugin::create, createRequestBuffer)  // compat: hosts load the factory by this name too
BOOST_DLL_ALIAS(Vesk::Crypto::executeJsonRequest, CryptoModuleCppExecFunc)
BOOST_DLL_ALIAS(Vesk::Crypto::executeJsonRequest, VeskExecuteJsonRequest)
