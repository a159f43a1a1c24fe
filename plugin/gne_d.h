/*
 * gne_d: the content patching plug-in, as its hosts see it.
 *
 * A shared library with three plain C entry points. All texts are zero-terminated bytes; paths
 * are joined as the comments say, with nothing inserted beyond that, so pass folders with their
 * closing slash where one is wanted. Calls may run at the same time on any threads. Nothing is
 * shown, logged or started; the result is the only report. A null argument counts as a failure.
 */

#ifndef GNE_D_H
#define GNE_D_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define GNE_D_EXPORT __declspec(dllexport)
#else
#define GNE_D_EXPORT __attribute__((visibility("default")))
#endif

/*
 * Compares the index oldRoot + indexName with newRoot + indexName and writes three files,
 * outputRoot + "data/" + indexName + ".MUKAdd", ".MUKDel" and ".MUKPatch". The folder "data/"
 * must exist. True when all three were written.
 */
GNE_D_EXPORT bool Diff(const char* indexName, const char* oldRoot, const char* newRoot,
                       const char* outputRoot);

/*
 * Applies the set patchRoot + "data/" + indexName + extensions to the index
 * indexRoot + "/" + indexName and saves it there. Folders of assets that the set replaces are
 * deleted below indexRoot. False, with nothing changed, when the index or the set cannot be
 * read; true once the set was applied, even if the index could then not be saved (the old file
 * is kept), so reload it to be sure. Saving takes the right to write in the index's folder: a new
 * file, with owner and permissions of the old one as far as the system allows, takes its place.
 */
GNE_D_EXPORT bool Patch(const char* indexName, const char* indexRoot, const char* patchRoot);

/* The fixed name "gne_d"; valid while the library is loaded, never to be freed. */
GNE_D_EXPORT const char* GetName(void);

#ifdef __cplusplus
}
#endif

#endif
