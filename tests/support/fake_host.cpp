// The platform's operations that library and core call, in their smallest form.
#include "tests/support/fake_host.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "core/trace.h"
#include "velmar/lib_nsm.h"
#include "velmar/os.h"
#include "velmar/swd.h"
#include "velmar/trace.h"

struct Queue : msgq_t {
    std::deque<std::vector<uint8_t>> messages;
    void (*wakeup)(void *) = nullptr;
    void *arg = nullptr;
};

namespace fake_host {

std::vector<std::string> calls;
std::vector<std::string> errors;
std::map<void *, Block> blocks;
int allocs_before_failure;
int bad_frees;
std::set<std::string> registered;
int swd_handle;
int swd_seconds;
std::map<uint8_t, msgq_cb_t> msgq_cbs;
int giot_wait_ms;
unsigned giot_entries;
void (*giot_call)(void *);
static std::deque<Queue> queues;

void reset()
{
    calls.clear();
    errors.clear();
    for (auto &[address, block] : blocks)
        free(address);
    blocks.clear();
    allocs_before_failure = -1;
    bad_frees = 0;
    registered.clear();
    swd_handle = -1;
    swd_seconds = 60;
    msgq_cbs.clear();
    giot_wait_ms = -1;
    giot_entries = 0;
    giot_call = nullptr;
    queues.clear();
    dce_dbginfo.handle = 1;
    dce_dbginfo.level = VELMAR_DCEDBG_LVL_ERR;
    dce_dbginfo.record_length = 128;
    dce_trace_area_enable(VELMAR_DCEDBG_AREA_QOS);
}

void post(MSG_Q_ID queue, uint8_t type)
{
    uint8_t message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = type;
    msgQSend(queue, message, sizeof message, 0, 1);
}

__attribute__((format(printf, 2, 3))) static int print(void *arg, const char *format, ...)
{
    char text[256];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof text, format, args);
    va_end(args);
    static_cast<Printer *>(arg)->text += text;
    return length;
}

cli_t Printer::cli(int mode)
{
    return {print, this, nullptr, mode};
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
    if (fake_host::allocs_before_failure == 0)
        return nullptr;
    if (fake_host::allocs_before_failure > 0)
        --fake_host::allocs_before_failure;
    void *block = calloc(1, size);
    fake_host::blocks[block] = {size, type, tag, name};
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

// Queue.
MSG_Q_ID msgQCreate(uint32_t max_messages, uint32_t message_length, int, const char *name)
{
    Queue &queue = fake_host::queues.emplace_back();
    snprintf(queue.name, sizeof queue.name, "%s", name);
    queue.max_messages = max_messages;
    queue.message_length = message_length;
    return &queue;
}
int msgQSend(MSG_Q_ID id, const void *message, uint32_t length, int, int)
{
    Queue *queue = static_cast<Queue *>(id);
    const uint8_t *bytes = static_cast<const uint8_t *>(message);
    queue->messages.emplace_back(bytes, bytes + length);
    ++queue->queued;
    if (queue->wakeup)
        queue->wakeup(queue->arg);
    return 0;
}
int msgQReceive(MSG_Q_ID id, void *buffer, uint32_t size, int)
{
    Queue *queue = static_cast<Queue *>(id);
    if (queue->messages.empty() || queue->messages.front().size() > size)
        return -1;
    const int length = static_cast<int>(queue->messages.front().size());
    memcpy(buffer, queue->messages.front().data(), queue->messages.front().size());
    queue->messages.pop_front();
    --queue->queued;
    return length;
}
msgq_cb_t msgQGetcb(MSG_Q_ID, uint8_t type)
{
    const auto found = fake_host::msgq_cbs.find(type);
    return found == fake_host::msgq_cbs.end() ? nullptr : found->second;
}
void msgQSetWakeup(MSG_Q_ID id, void (*wakeup)(void *arg), void *arg)
{
    static_cast<Queue *>(id)->wakeup = wakeup;
    static_cast<Queue *>(id)->arg = arg;
}
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
