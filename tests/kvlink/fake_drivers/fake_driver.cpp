// SPDX-License-Identifier: MIT
// Libraries that are not the driver kvlink needs: CMakeLists.txt builds this file several
// times, each time with one thing wrong. Whoever calls more than the identity of such a library
// ends the process.
#include <cstdlib>

extern "C" {

// A host asks for these names.
// NOLINTBEGIN(readability-identifier-naming)
#if !defined(WITHOUT_IDENTITY)
__attribute__((visibility("default"))) const char *KvDriverIdentity()
{
    return IDENTITY;
}

__attribute__((visibility("default"))) int KvDriverQtMajor()
{
    return QT_MAJOR;
}

#if !defined(WITHOUT_ABI)
__attribute__((visibility("default"))) int KvDriverAbi()
{
    return ABI;
}
#endif
#endif
// NOLINTEND(readability-identifier-naming)

#define CALL(name)                                                                                           \
    __attribute__((visibility("default"))) void name()                                                       \
    {                                                                                                        \
        std::abort();                                                                                        \
    }
CALLS
}
