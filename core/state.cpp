// SPDX-License-Identifier: Apache-2.0
// The process-wide record and the one blocking wait of the driver channel.
#include "core/state.h"

#include <cerrno>
#include <cstring>

#include "core/trace.h"
#include "velmar/os.h"

qosVelmarState_t qos_velmar_state;
qosSaid_t qos_said;

int qosWaitForResponse(int fd, int seconds)
{
    if (fd < 0 || fd >= FD_SETSIZE) {
        QOS_ERR("select returned error: %s", strerror(EBADF));
        return QOS_FAILED;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    const struct timeval timeout = {seconds, 0};
    const int ready = velmar_select(fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready < 0) {
        QOS_ERR("select returned error: %s", strerror(errno));
        return QOS_FAILED;
    }
    if (ready == 0) {
        QOS_ERR("no response received for fd: %d, after time %d secs", fd, seconds);
        return QOS_TIMED_OUT;
    }
    if (!FD_ISSET(fd, &readable)) {
        QOS_ERR("select returned, but fd (%d) is not ready", fd);
        return QOS_FAILED;
    }
    QOS_DBG("response received in time..");
    return QOS_OK;
}
