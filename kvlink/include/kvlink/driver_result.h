// SPDX-License-Identifier: MIT
/** \file
 * Texts of the driver's results, for hosts that call the driver themselves. C and C++. */
#ifndef KVLINK_DRIVER_RESULT_H
#define KVLINK_DRIVER_RESULT_H

#ifdef __cplusplus
extern "C" {
#endif

/** What a result of DataCom (the member result of its record) means, in UTF-8: for logs and operators.
 * Any thread. The text lives as long as the library and is never NULL; any other number gives
 * "not a result of the driver".
 *
 *     std::printf("%s\n", KvDriverResultText(13));
 *     // the PLC answered with an error code; the request was given up
 */
/* NOLINTNEXTLINE(readability-identifier-naming): named as the driver's own calls are */
__attribute__((visibility("default"))) const char *KvDriverResultText(int result);

#ifdef __cplusplus
}
#endif

#endif
