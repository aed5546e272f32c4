// SPDX-License-Identifier: Apache-2.0
// The library instance's life.
#include "lib/lib_instance.h"

#include <cstdio>
#include <cstdlib>

lib_instance_t *lib_create(const char *name)
{
    lib_instance_t *lib = static_cast<lib_instance_t *>(calloc(1, sizeof(lib_instance_t)));
    if (!lib)
        return nullptr;
    snprintf(lib->name, sizeof lib->name, "%s", name ? name : "");
    lib->client_fd = -1;
    lib->second_fd = -1;
    return lib;
}

int lib_start(lib_instance_t *lib)
{
    return lib->master ? ifg_init(&lib->ifg) : -1;
}

void lib_stop(lib_instance_t *lib)
{
    if (!lib)
        return;
    ifg_finish(&lib->ifg);
    cli_tree_free(lib->ctree);
    thread_master_finish(lib->master);
    if (lib->lock) {
        pthread_mutex_destroy(lib->lock);
        free(lib->lock);
    }
    free(lib);
}

int lib_init_kor_thread_lock(lib_instance_t *lib)
{
    if (lib->lock)
        return 0;
    pthread_mutex_t *lock = static_cast<pthread_mutex_t *>(calloc(1, sizeof(pthread_mutex_t)));
    if (!lock)
        return -1;
    // An engine's calls are added from inside a fetch that holds the mutex.
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const int rc = pthread_mutex_init(lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (rc != 0) {
        free(lock);
        return -1;
    }
    lib->lock = lock;
    return 0;
}
