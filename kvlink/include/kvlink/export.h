// SPDX-License-Identifier: MIT
// Which names the shared library kvlink shows to those who link it.
#pragma once

#include <QtGlobal>

#if defined(KV_BUILDING_KVLINK)
#define KVLINK_API Q_DECL_EXPORT
#else
#define KVLINK_API Q_DECL_IMPORT
#endif
