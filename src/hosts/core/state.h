/* What the core's sources share. items.c keeps items and folders, selection.c classifies them, events.c takes
 * what happens, orders.c says what is to be done. */
#ifndef TSYNCFINDER_HOSTS_CORE_STATE_H
#define TSYNCFINDER_HOSTS_CORE_STATE_H

#include "hosts/core/core.h"
#include "hosts/core/list.h"
#include "hosts/core/table.h"
#include "protocol/names.h"

/* A folder lives while it has items, and until the extension has been told that it is shown no longer. Its
 * items stand in two lists, so that all of them can be made to wait at once, whatever their number. */
typedef struct {
    TsfCore* core;
    TsfNode waiting;  /* items whose turn is to come: to be asked for or, without an extension, forgotten */
    TsfNode resting;  /* the other ones */
    TsfNode in_turn;  /* of the core's folders with waiting items */
    TsfNode in_tell;  /* of those about which the extension may have to be told */
    uint8_t expected; /* the badge that a new item of the folder probably has */
    bool is_watched;  /* the extension wants to be asked about its items */
    bool is_observed; /* the owner of the extension's name has been told that it is shown */
    char uri[];
} TsfFolder;

struct TsfItem {
    TsfNode in_folder;
    TsfNode in_invalid; /* of the items that wait to be shown again */
    TsfFolder* folder;
    void* cookie;
    uint16_t place;           /* in a batch under way, from 1; 0: in none */
    uint8_t badge;            /* its number in the core's names, from 1; 0: none */
    bool is_known : 1;        /* the extension has answered for it */
    bool is_in_sync : 1;      /* as answered */
    bool is_root : 1;         /* as answered */
    bool is_waiting : 1;      /* it was put among the waiting by itself, and keeps its turn */
    bool is_outdated : 1;     /* to be asked for again after the batch that it is in */
    bool was_invalidated : 1; /* the file manager's next question about it is our own doing */
    char uri[];
};

/* The calls that may be under way, one of each. */
enum {
    TSF_DIRECTORIES,
    TSF_MENUS,
    TSF_LIFE, /* an empty batch */
    TSF_QUESTIONS,
    TSF_BATCH = TSF_QUESTIONS, /* the first of the batches */
    TSF_CALLS = TSF_BATCH + TSF_MAXIMUM_BATCHES
};

typedef struct {
    uint64_t id;      /* 0: not under way */
    int64_t deadline; /* INT64_MAX: it has all the time */
    unsigned misses_before;
} TsfCall;

typedef struct {
    TsfItem* items[TSF_MAXIMUM_BATCH]; /* NULL: it has gone since */
    uint64_t least[TSF_MAXIMUM_BATCH]; /* an answer with a smaller sequence number is older than a change */
    size_t count;
} TsfBatch;

enum {
    TSF_MAXIMUM_BADGES = 32,
    TSF_MAXIMUM_BADGE_NAME = 32
}; /* kinds of badges; further ones count as none */

struct TsfCore {
    void* host;
    TsfState state;

    TsfTable items;       /* of TsfItem.uri */
    TsfTable folders;     /* of TsfFolder.uri */
    TsfTable directories; /* watched; the texts are the table's own */
    TsfNode turn;         /* folders with waiting items */
    TsfNode tell;         /* folders about which the extension may have to be told */
    TsfFolder* told;      /* of the last order; to be settled when that is over. Or NULL */
    TsfNode invalid;      /* items to be shown again */
    char emblems[TSF_MAXIMUM_BADGES][sizeof FINDER_SYNC_EMBLEM_PREFIX + TSF_MAXIMUM_BADGE_NAME];
    size_t emblem_count;

    uint64_t last_call;
    TsfCall calls[TSF_CALLS]; /* questions, then batches */
    TsfBatch batches[TSF_MAXIMUM_BATCHES];
    bool is_wanted[TSF_QUESTIONS]; /* questions to be asked, again if they are under way */
    unsigned misses;               /* in a row */
    unsigned nonsense;             /* answers that made no sense, since the extension came */
    int64_t last_answer;

    bool has_menus;
    bool menus_to_update;
    bool menu_waits; /* a selection was classified before all of its items were known */
    bool is_listening;
    unsigned signals; /* in the running interval */
    int64_t signals_since;
    int64_t deaf_until; /* a flood is not listened to until then; INT64_MIN: there is none */
    bool doubts_ends;   /* items end in silence */
    bool is_doubting;   /* a folder is new: whether the items of the other ones are still shown is doubtful */
    int64_t doubted_at; /* when it last was */
    int64_t fades_at;   /* without an extension: when the badges go; INT64_MAX: they stay */
    bool is_fading;
};

/* A batch may be sent. */
static inline bool tsf_is_ready(const TsfCore* core) { return core->state == TSF_THERE && core->misses == 0; }

/* --- items.c */

TsfItem* tsf_find_item(const TsfCore* core, const char* uri);
TsfFolder* tsf_find_folder(const TsfCore* core, const char* uri);
void tsf_foreach_folder(TsfCore* core, void (*visit)(TsfFolder* folder));
/* All items of the folder wait for their turn. */
void tsf_folder_wait(TsfFolder* folder);
/* Whether it is watched may have changed. */
void tsf_folder_refresh(TsfFolder* folder);
/* Frees it if nothing is left of it that matters to anybody. */
void tsf_folder_settle(TsfFolder* folder);
bool tsf_item_is_watched(const TsfItem* item);
/* The extension is to be asked for it, unless it is not there, or does not watch it. */
void tsf_item_want(TsfItem* item);
/* Takes the next waiting item, which then waits no longer; NULL: none. */
TsfItem* tsf_next_waiting(TsfCore* core);
void tsf_item_forget(TsfItem* item, bool is_known);
/* Among those to be shown anew, to see whether it still is shown. */
void tsf_folder_doubt(TsfFolder* folder);
void tsf_item_answered(TsfItem* item, const TsfAnswer* answer);
void tsf_forget_directories(TsfCore* core);
/* False: no memory, and nothing has changed. */
bool tsf_take_directories(TsfCore* core, const char* const* uris, size_t count);

/* --- events.c */

/* What happens because time passes. */
void tsf_tick(TsfCore* core, int64_t now);

#endif
