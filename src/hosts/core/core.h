/* What every file-manager plugin does, whatever its toolkit: it knows the badges of what is shown, asks the
 * extension for them in batches, learns of changes, and notices when the extension does not answer.
 *
 * The core has no toolkit, no bus, no clock and no disk. Events go in, with the time where it matters. What
 * the host has to do comes out when the host asks: orders (what to send), and the items whose badges are to
 * be shown again. Nothing is called back, so that the host may call the core from within anything that it
 * does for it. After an event, and when the time of tsf_core_wakes has come, the host takes the orders until
 * there are none; a host that must not be held up stops when its turn is over and goes on in the next one.
 *
 * Time is in milliseconds of any clock that never goes back. Items are URIs as the file manager spells them.
 *
 * Ownership: the core owns items and copies what it keeps. What is passed in is borrowed for the call. An
 * item's handle is the host's to use until tsf_item_gone or tsf_core_free; its URI lives as long. The name of
 * an emblem lives as long as the core, the fields of an order until the next call.
 *
 * Without memory nothing crashes: a core or an item is NULL, and an answer that cannot be kept counts as one
 * that did not come. Everything else works in the memory that is there already.
 *
 * A core and its items belong to one thread at a time; cores share nothing. */
#ifndef TSYNCFINDER_HOSTS_CORE_CORE_H
#define TSYNCFINDER_HOSTS_CORE_CORE_H

#include "protocol/selection_class.h"

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TsfCore TsfCore;
typedef struct TsfItem TsfItem;

/* Times in milliseconds. A stopped extension is noticed, and its badges are gone, within ten seconds of its
 * last answer: one pause and three answers that do not come. */
enum {
    TSF_ANSWER_TIME = 2000,           /* for the answer to a call */
    TSF_PAUSE_BEFORE_QUESTION = 3000, /* since the last answer, while items are shown */
    TSF_BADGE_LIFETIME = 9000,        /* of badges without an extension */
    TSF_FLOOD_PAUSE = 1000,           /* during which nobody listens to an extension that floods */
    TSF_DOUBT_PAUSE = 3000,           /* at least, between two looks for items that have ended in silence */
    TSF_MAXIMUM_MISSES = 3,           /* in a row */
    TSF_MAXIMUM_NONSENSE = 3,         /* answers that make no sense, since the extension came */
    TSF_MAXIMUM_SIGNALS = 50,         /* in one TSF_FLOOD_PAUSE: several times what the extension sends */
    TSF_MAXIMUM_CHANGES = 4096,       /* directories and items of one signal */
    TSF_MAXIMUM_DIRECTORIES = 4096,   /* that are watched */
    TSF_MAXIMUM_MENUS = 64,
    TSF_MAXIMUM_BATCH = 150,  /* items */
    TSF_MAXIMUM_BATCHES = 2,  /* under way at a time; meanwhile the next ones gather */
    TSF_MAXIMUM_UNKNOWN = 100 /* items of a selection that are asked for at a time */
};

typedef enum {
    TSF_ABSENT, /* nobody owns the extension's name */
    TSF_ASKING, /* it is there; which directories it watches is not known yet */
    TSF_THERE,  /* it has answered, and what it says counts */
    TSF_SILENT, /* it missed its answers; one question, which has all the time, is left with it */
    TSF_SHUNNED /* its answers made no sense; nothing is asked until its name has another owner */
} TsfState;

/* host: whatever the host wants to find again by an item. NULL: no memory. */
TsfCore* tsf_core_new(void* host);
/* Ends the core and all items. What is still under way needs no answer any more. */
void tsf_core_free(TsfCore* core);
TsfState tsf_core_state(const TsfCore* core);
/* Whether the menus that the host keeps are those of the extension that is there. */
bool tsf_core_has_menus(const TsfCore* core);

/* --- what is shown */

/* The item of a URI, made when there is none; NULL: no memory. */
TsfItem* tsf_core_item(TsfCore* core, const char* uri);
/* Nobody shows it any more. The handle ends here. */
void tsf_item_gone(TsfItem* item);
/* The file manager asks for its emblem: the icon's name, or NULL for none. It may cause an order. */
const char* tsf_item_emblem(TsfItem* item);

const char* tsf_item_uri(const TsfItem* item);
void* tsf_item_host(const TsfItem* item);
/* What the host keeps of an item: NULL at first, and the core does not look at it. */
void* tsf_item_cookie(const TsfItem* item);
void tsf_item_set_cookie(TsfItem* item, void* cookie);
/* Each item, in any order. The function must neither end items nor make new ones. */
void tsf_core_foreach_item(TsfCore* core, void (*visit)(TsfItem* item, void* data), void* data);

/* A selection, item by item; a plain value of the caller's. */
typedef struct {
    TSyncSelectionFacts facts;
    size_t unknown;
} TsfSelection;
/* The first item's kind; whether it is a directory is told with links resolved. */
void tsf_selection_begin(TsfSelection* selection, bool first_exists, bool first_is_directory);
/* item: NULL for anything that is not a local file, or that could not be had. False: the others make no
 * difference. */
bool tsf_selection_add(TsfSelection* selection, TsfItem* item);
/* Its class. False: an item is not known yet, and TSF_UPDATE_MENUS comes when all are. */
bool tsf_selection_class(TsfCore* core, const TsfSelection* selection, TSyncSelectionClass* found);

/* --- what comes from the extension */

/* Its name has got an owner, also another one than before. The host listens to no owner at this moment. */
void tsf_core_extension_came(TsfCore* core, int64_t now);
/* Its name has lost the owner. The host listens to no owner any more. */
void tsf_core_extension_left(TsfCore* core, int64_t now);

/* The answers. call: as in the order; the answer to a call that is over is ignored. A call whose answer will
 * never come, because the connection or the callee is gone, needs no event: its time runs out. */

/* An error, or an answer of another type. */
void tsf_core_nonsense(TsfCore* core, int64_t now, uint64_t call);
/* call 0: as the signal says. uris: may be NULL when there are more than TSF_MAXIMUM_DIRECTORIES. */
void tsf_core_directories(TsfCore* core, int64_t now, uint64_t call, const char* const* uris, size_t count);
/* Whether the host is to keep them, in place of those that it has. */
bool tsf_core_menus(TsfCore* core, int64_t now, uint64_t call, size_t count);
typedef struct {
    const char* badge;
    bool is_in_sync;
    bool is_root;
} TsfAnswer;
/* Only the first TSF_MAXIMUM_BATCH answers need to be there, whatever the count. */
void tsf_core_badges(TsfCore* core, int64_t now, uint64_t call, uint64_t sequence, const TsfAnswer* answers,
                     size_t count);

/* A signal has come, of any kind; size: the directories and items in it. False: it is not to be looked at. */
bool tsf_core_heard(TsfCore* core, int64_t now, size_t size);
/* Any item of the directory may have changed. */
void tsf_core_directory_changed(TsfCore* core, uint64_t sequence, const char* uri);
void tsf_core_item_changed(TsfCore* core, uint64_t sequence, const char* uri);
void tsf_core_menus_changed(TsfCore* core);

/* --- what is to be done */

typedef enum {
    TSF_GO_ON, /* nothing: the core has done a piece of work, and there is more */
    /* Begin or end to receive the signals of the name's owner. */
    TSF_LISTEN,
    TSF_STOP_LISTENING,
    /* Calls without an answer. */
    TSF_BEGIN_OBSERVING,
    TSF_END_OBSERVING,
    /* Calls with one. The host sets no time for it. */
    TSF_ASK_DIRECTORIES,
    TSF_ASK_MENUS,
    TSF_ASK_BADGES,
    /* Menus that are shown, or that could not be made, may have changed. */
    TSF_UPDATE_MENUS
} TsfOrderKind;

typedef struct {
    TsfOrderKind kind;
    uint64_t call;               /* TSF_ASK_…: to be given back with the answer; never 0 */
    const char* uri;             /* TSF_…_OBSERVING */
    const TsfItem* const* items; /* TSF_ASK_BADGES; none: the question is only whether it answers */
    size_t count;
} TsfOrder;

/* The next order; it counts as done. False: there is none before the time of tsf_core_wakes. */
bool tsf_core_next(TsfCore* core, int64_t now, TsfOrder* order);
/* Whether the next order, which is due, begins with an item that shows a foretold badge, and no menu waits
 * for the answer: it may wait while the file manager has other work. An item that shows nothing yet, or whose
 * badge has changed, may not. */
bool tsf_core_can_wait(const TsfCore* core);
/* When the next order will be there if nothing happens: now, later, or INT64_MAX for never. */
int64_t tsf_core_wakes(const TsfCore* core, int64_t now);

/* The next item whose emblem is to be asked for again, each once; NULL: none. The question about it that the
 * host's file manager then asks is taken for our own doing, and causes none to the extension. */
TsfItem* tsf_core_next_invalid(TsfCore* core);
bool tsf_core_has_invalid(const TsfCore* core);

/* --- a file manager that does not tell when it shows an item no longer
 *
 * but asks for the emblem of a shown item whenever it is told to, before the host goes on. Then whatever is
 * not asked for has ended. With a new folder one item of each folder comes among the invalid ones; when that
 * one has ended, so do the folder's next ones. Nothing happens while nothing new is shown. */

/* Such a file manager it is, from now on. */
void tsf_core_doubt_ends(TsfCore* core);
/* Whether the item, told to be shown anew, was asked for meanwhile. */
bool tsf_item_was_asked(const TsfItem* item);
/* It was not: nobody shows it. The handle ends here. */
void tsf_item_unseen(TsfItem* item);

#ifdef __cplusplus
}
#endif

#endif
