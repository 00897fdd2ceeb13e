// SPDX-License-Identifier: MIT
/* Prints why a link cannot be made, or "made": the driver is found, loaded and asked who it is. */
#include <kvlink/kvlink.h>

#include <stdio.h>

int main(void)
{
    kvlink_plc *plc = NULL;
    puts(kvlink_plc_new(&plc, "tcp://127.0.0.1", NULL) < 0 ? kvlink_last_error() : "made");
    kvlink_plc_free(plc);
    return 0;
}
