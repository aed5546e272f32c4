// The platform's operations that library and core call, in their smallest form.
#include "tests/support/fake_host.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

#include "core/trace.h"
#include "velmar/lib_nsm.h"
#include "velmar/os.h"
#include "velmar/swd.h"
#include "velmar/trace.h"

namespace fake_host {

std::vector<std::string> calls;
std::vector<std::string> errors;
std::map<void *, Block> blocks;
bool refuses;
int bad_frees;
std::set<std::string> registered;
int swd_handle;
int swd_seconds;
int giot_wait_ms;
unsigned giot_entries;
void (*giot_call)(void *);

void reset()
{
    calls.clear();
    errors.clear();
    for (auto &[address, block] : blocks)
        free(address);
    blocks.clear();
    refuses = false;
    bad_frees = 0;
    registered.clear();
    swd_handle = -1;
    swd_seconds = 60;
    giot_wait_ms = -1;
    giot_entries = 0;
    giot_call = nullptr;
    dce_dbginfo.handle = 1;
    dce_dbginfo.level = VELMAR_DCEDBG_LVL_ERR;
    dce_dbginfo.record_length = 128;
    dce_trace_area_enable(VELMAR_DCEDBG_AREA_QOS);
}

MSG_Q_ID queue()
{
    static const MSG_Q_ID only = msgQCreate(16, MSGQ_MESSAGE_LENGTH, 0, "test_mq");
    return only;
}

void post(uint8_t type)
{
    uint8_t message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = type;
    msgQSend(queue(), message, sizeof message, 0, 1);
}

} // namespace fake_host

using fake_host::calls;

expm_t __expm;

// Trace and assertion.
int trace_module_init(int32_t *handle, uint16_t, uint32_t, const char *, const trace_params_t *)
{
    return *handle = 1;
}
void trace_module_store_lvl(int32_t, uint16_t, uint32_t, int level, const char *text)
{
    if (level == VELMAR_DCEDBG_LVL_ERR)
        fake_host::errors.push_back(text);
}
int rasevt_init(const char *, uint32_t, const char *)
{
    return 0;
}
void do_assert(const char *text, const char *, int, ...)
{
    fprintf(stderr, "assertion %s\n", text);
    abort();
}

// Store.
void *ha_calloc(ha_hndl_t ha, size_t size, const char *type, int group, int tag)
{
    return ha_xcalloc(ha, size, type, group, tag, "");
}
void *ha_xcalloc(ha_hndl_t, size_t size, const char *type, int, int tag, const char *name)
{
    if (fake_host::refuses)
        return nullptr;
    void *block = calloc(1, size);
    fake_host::blocks[block] = {type, tag, name};
    return block;
}
int ha_free(ha_hndl_t, void *address)
{
    if (fake_host::blocks.erase(address) == 0) {
        ++fake_host::bad_frees;
        return -1;
    }
    free(address);
    return 0;
}
int ha_get_state(ha_hndl_t)
{
    return HA_MODE_ACTIVE;
}
int ha_sync(ha_hndl_t, int, int)
{
    return 0;
}
int ha_add_struct(ha_hndl_t, const char *name, size_t size, uint32_t num_fields, const ha_field_t *fields)
{
    // Rows that leave the record or overlap would not survive a copy.
    uint32_t end = 0;
    for (uint32_t i = 0; i < num_fields; ++i) {
        if (fields[i].offset < end || fields[i].offset + fields[i].size > size)
            return -22;
        end = fields[i].offset + fields[i].size;
    }
    return fake_host::registered.insert(name).second ? 0 : HA_EXISTS;
}
int ha_add_function(ha_hndl_t, const char *name, void (*function)())
{
    return !function ? -22 : fake_host::registered.insert(name).second ? 0 : HA_EXISTS;
}

// What queue messages of the platform lead to.
void vss_process(void *)
{
    calls.push_back("vss_process");
}
void isc_process(void *)
{
    calls.push_back("isc_process");
}
void smi_process(void *)
{
    calls.push_back("smi_process");
}

// Framework, watchdog, engine.
void KOR_ASPMainLoop(int, MSG_Q_ID)
{
    calls.push_back("KOR_ASPMainLoop");
}
int swd_register(void *)
{
    calls.push_back("swd_register");
    return fake_host::swd_handle;
}
int swd_hello(int, struct timeval *last)
{
    velmar_now(last);
    calls.push_back("swd_hello");
    return fake_host::swd_seconds;
}
int gioti_start(gioti_t *)
{
    calls.push_back("gioti_start");
    return 0;
}
unsigned gioti_pre_select(gioti_t *, struct pollfd *fds, unsigned count, unsigned, int *wait_ms)
{
    *wait_ms = fake_host::giot_wait_ms;
    for (unsigned i = 0; i < fake_host::giot_entries; ++i)
        fds[count + i] = {-1, 0, 0};
    return count + fake_host::giot_entries;
}
void gioti_post_select(gioti_t *gioti, const struct pollfd *, unsigned)
{
    if (fake_host::giot_call)
        gioti->add_call(gioti->zg, fake_host::giot_call, gioti, 0);
}

// Management library.
int imi_client_clear_index(void *, uint32_t ifindex)
{
    calls.push_back("imi_client_clear_index " + std::to_string(ifindex));
    return 0;
}
int nsm_lib_send_ifg_delete(void *, uint32_t ifindex)
{
    calls.push_back("nsm_lib_send_ifg_delete " + std::to_string(ifindex));
    return 0;
}

// Time and waiting. A wait without limit that nothing ends would last for ever: it fails with EDEADLK.
namespace fake_os {

int64_t now_us;
std::vector<int> timeouts;
unsigned last_count;
std::function<void()> on_poll;
int poll_errno;
bool pipe_fails;

void reset()
{
    now_us = 1000 * int64_t{1000000};
    timeouts.clear();
    last_count = 0;
    on_poll = nullptr;
    poll_errno = 0;
    pipe_fails = false;
}

} // namespace fake_os

void velmar_now(struct timeval *now)
{
    now->tv_sec = static_cast<time_t>(fake_os::now_us / 1000000);
    now->tv_usec = static_cast<suseconds_t>(fake_os::now_us % 1000000);
}

uint64_t velmar_time_base()
{
    return static_cast<uint64_t>(fake_os::now_us / 1000);
}

int velmar_poll(struct pollfd *fds, unsigned count, int timeout_ms)
{
    fake_os::timeouts.push_back(timeout_ms);
    fake_os::last_count = count;
    if (auto action = std::exchange(fake_os::on_poll, nullptr))
        action();
    if (fake_os::poll_errno != 0) {
        errno = std::exchange(fake_os::poll_errno, 0);
        return -1;
    }
    const int found = poll(fds, count, 0);
    if (found != 0)
        return found;
    if (timeout_ms < 0) {
        errno = EDEADLK;
        return -1;
    }
    // A pass without a wait takes time too, or a timer due in less than a millisecond would never come.
    fake_os::now_us += timeout_ms > 0 ? timeout_ms * int64_t{1000} : 100;
    return 0;
}

int velmar_select(int nfds, fd_set *readable, fd_set *writable, fd_set *except, const struct timeval *timeout)
{
    timeval none = {0, 0};
    const int found = select(nfds, readable, writable, except, &none);
    if (found == 0 && timeout)
        fake_os::now_us += timeout->tv_sec * int64_t{1000000} + timeout->tv_usec;
    return found;
}

int velmar_pipe(int fds[2])
{
    if (fake_os::pipe_fails) {
        errno = EMFILE;
        return -1;
    }
    return pipe(fds);
}
