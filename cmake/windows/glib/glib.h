/* What libsmf takes from GLib, for Windows: an array of pointers and a log that says nothing. GLib itself
 * would bring three more libraries along for these five functions; the names and the behaviour are its own.
 */
#ifndef MLH_WINDOWS_GLIB_H
#define MLH_WINDOWS_GLIB_H

#include <stdint.h>
#include <stdlib.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef char gchar;
typedef int gint;
typedef int gboolean;
typedef unsigned guint;
typedef void* gpointer;
typedef const void* gconstpointer;
typedef gint (*GCompareFunc)(gconstpointer a, gconstpointer b);
typedef int GLogLevelFlags;
typedef void (*GLogFunc)(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer user);

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

typedef struct GPtrArray {
    gpointer* pdata;
    guint len;
} GPtrArray;

#define g_ptr_array_index(array, i) ((array)->pdata[i])
GPtrArray* g_ptr_array_new(void);
void g_ptr_array_free(GPtrArray* array, gboolean free_items);
void g_ptr_array_add(GPtrArray* array, gpointer item);
gpointer g_ptr_array_remove_index(GPtrArray* array, guint index);
gboolean g_ptr_array_remove(GPtrArray* array, gpointer item);  /* the first one that is equal */
void g_ptr_array_sort(GPtrArray* array, GCompareFunc compare); /* stable; `compare` gets addresses of items */

#define g_debug(...) ((void)0)
#define g_message(...) ((void)0)
#define g_warning(...) ((void)0)
#define g_critical(...) ((void)0)
#define g_error(...) abort()
static inline void g_log_set_default_handler(GLogFunc handler, gpointer user) { (void)handler, (void)user; }

#ifdef __cplusplus
}
#endif

#endif
