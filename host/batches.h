// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the last batches that were acknowledged, with their failed messages and what the driver
// refused meanwhile. The main thread fills it, the control socket's thread reads it. Nothing is kept before the process
// has offered its readers of batches and frames (velmar/ctl.h).
#ifndef HOST_BATCHES_H
#define HOST_BATCHES_H

#include <string>

#include <sys/uio.h>

#include "velmar/ctl.h"

void batchesOffer(const ctl_log_t *readers);

// A request leaves for the driver; an answer came, or `error` says why it did not. `frame` is the whole datagram.
void batchesAsked(const iovec *vector, size_t count);
void batchesAnswered(const iovec *vector, size_t count, size_t length);
void batchesFailed(int error);

// Whether a payload is a batch of messages that change nothing, all of it.
bool batchesOnlyRead(const void *payload, size_t length);

// A payload leaves for the managers of a service.
void batchesSent(const char *service, const iovec *vector, size_t count);

// The newest `most` as JSON, an array of flat objects but for two lists, oldest first.
std::string batchesShow(unsigned most);

#endif
