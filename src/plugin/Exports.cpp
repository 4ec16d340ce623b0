// The module's four exported names, as Boost.DLL aliases in the "boostdll" section.

#include "plugin/RequestDispatcher.h"

#include <vesk/VeskCrypto.h>

#include <boost/dll/alias.hpp>

#include <type_traits>

// Hosts call these through the types of the public header.
static_assert(std::is_same_v<decltype(VeskCryptoPlugin::create), Vesk::Crypto::PluginFactory>);
static_assert(std::is_same_v<decltype(Vesk::Crypto::executeJsonRequest), Vesk::Crypto::JsonRequestFunction>);

BOOST_DLL_ALIAS(VeskCryptoPlugin::create, createVeskCrypto)
BOOST_DLL_ALIAS(VeskCryptoPlugin::create, createRequestBuffer)  // compat: hosts load the factory by this name too
BOOST_DLL_ALIAS(Vesk::Crypto::executeJsonRequest, CryptoModuleCppExecFunc)
BOOST_DLL_ALIAS(Vesk::Crypto::executeJsonRequest, VeskExecuteJsonRequest)
