// SPDX-License-Identifier: Apache-2.0
// The library instance's interface table.
#include "lib/ifg.h"

#include <cstdlib>
#include <cstring>

#include "lib/views.h"

namespace {

int compareName(const void *a, const void *b)
{
    return strcmp(static_cast<const interface_t *>(a)->name, static_cast<const interface_t *>(b)->name);
}

int compareIndex(const void *a, const void *b)
{
    const uint32_t x = static_cast<const interface_t *>(a)->ifindex;
    const uint32_t y = static_cast<const interface_t *>(b)->ifindex;
    return x < y ? -1 : x > y;
}

bool setName(interface_t *ifp, const char *name)
{
    const size_t length = strlen(name);
    if (length == 0 || length > IFG_NAME_MAX)
        return false;
    memcpy(ifp->name, name, length + 1);
    return true;
}

void freeInterface(void *info)
{
    free(static_cast<interface_t *>(info)->info);
    free(info);
}

} // namespace

lib_result_t ifg_init(ifg_t *ifg)
{
    *ifg = {};
    if (avl_create(&ifg->by_name, 0, compareName) == 0 && avl_create(&ifg->by_index, 0, compareIndex) == 0)
        return LIB_DONE;
    ifg_finish(ifg);
    return LIB_FAILED;
}

void ifg_finish(ifg_t *ifg)
{
    avl_tree_free(&ifg->by_index, nullptr);
    avl_tree_free(&ifg->by_name, freeInterface);
}

interface_t *ifg_lookup_by_name(const ifg_t *ifg, const char *name)
{
    interface_t key = {};
    return setName(&key, name) ? avlFind(ifg->by_name, key) : nullptr;
}

interface_t *ifg_lookup_by_index(const ifg_t *ifg, uint32_t ifindex)
{
    interface_t key = {};
    key.ifindex = ifindex;
    return avlFind(ifg->by_index, key);
}

interface_t *ifg_get_by_name(ifg_t *ifg, const char *name)
{
    if (interface_t *known = ifg_lookup_by_name(ifg, name))
        return known;
    interface_t *ifp = static_cast<interface_t *>(calloc(1, sizeof(interface_t)));
    if (ifp && setName(ifp, name) && avl_insert(ifg->by_name, ifp) == 0)
        return ifp;
    free(ifp);
    return nullptr;
}

interface_t *ifg_get_by_name2(ifg_t *ifg, const char *name, uint32_t ifindex)
{
    interface_t *ifp = ifg_get_by_name(ifg, name);
    if (ifp && ifp->ifindex == 0)
        ifp->ifindex = ifindex;
    return ifp;
}

lib_result_t ifg_table_add(ifg_t *ifg, interface_t *ifp)
{
    return ifp->ifindex == 0 ? LIB_FAILED : avl_insert_nodup(ifg->by_index, ifp);
}

lib_result_t ifg_table_delete(ifg_t *ifg, interface_t *ifp)
{
    return ifg_lookup_by_index(ifg, ifp->ifindex) == ifp ? avl_remove(ifg->by_index, ifp) : LIB_FAILED;
}

void if_delete(ifg_t *ifg, interface_t *ifp)
{
    (void)ifg_table_delete(ifg, ifp); // it may never have had an index
    (void)avl_remove(ifg->by_name, ifp);
    freeInterface(ifp);
}
