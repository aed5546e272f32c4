// SPDX-License-Identifier: Apache-2.0
// Inside the host library: what the service manager is told beside the hellos of velmar/swd.h.
#ifndef HOST_SWD_H
#define HOST_SWD_H

// The main thread waits for another process, for a limited time: that is life, however long the event takes in which it
// waits again and again. A hello, if one is due.
void swdWaits();

// How long a wait may last until swdWaits has to be called again, in milliseconds of the machine's time; -1 for ever.
int swdQuietMs();

// The process ends in good order. Any thread may call it.
void swdStopping();

#endif
