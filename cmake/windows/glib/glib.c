#include "glib.h"

#include <string.h>

GPtrArray* g_ptr_array_new(void) {
    GPtrArray* array = calloc(1, sizeof *array);
    if (array == NULL) {
        abort();
    }
    return array;
}

void g_ptr_array_free(GPtrArray* array, gboolean free_items) {
    if (free_items) {
        free(array->pdata);
    }
    free(array);
}

void g_ptr_array_add(GPtrArray* array, gpointer item) {
    if ((array->len & (array->len - 1)) == 0) { /* full at every power of two */
        const size_t room = array->len == 0 ? 1 : 2 * (size_t)array->len;
        array->pdata = realloc(array->pdata, room * sizeof *array->pdata);
        if (array->pdata == NULL) {
            abort();
        }
    }
    array->pdata[array->len++] = item;
}

gpointer g_ptr_array_remove_index(GPtrArray* array, guint index) {
    gpointer item;
    if (index >= array->len) {
        return NULL;
    }
    item = array->pdata[index];
    memmove(array->pdata + index, array->pdata + index + 1, (array->len - index - 1) * sizeof *array->pdata);
    --array->len;
    return item;
}

gboolean g_ptr_array_remove(GPtrArray* array, gpointer item) {
    guint i;
    for (i = 0; i < array->len; ++i) {
        if (array->pdata[i] == item) {
            g_ptr_array_remove_index(array, i);
            return TRUE;
        }
    }
    return FALSE;
}

/* By insertion: libsmf sorts after each event that it adds out of order, all others being sorted. */
void g_ptr_array_sort(GPtrArray* array, GCompareFunc compare) {
    guint i, j;
    for (i = 1; i < array->len; ++i) {
        gpointer item = array->pdata[i];
        for (j = i; j > 0 && compare(&array->pdata[j - 1], &item) > 0; --j) {
            array->pdata[j] = array->pdata[j - 1];
        }
        array->pdata[j] = item;
    }
}
