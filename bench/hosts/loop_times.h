/* What a plugin does to the main loop of the Nautilus that it is loaded into, written into a file that
 * another process reads while it happens.
 *
 * The plugin's own sources are linked with --wrap for the functions below, so that every way from the main
 * loop into the plugin is timed and the plugin itself holds nothing of it. The file is named by the
 * environment variable TSYNCFINDER_LOOP_TIMES; without it nothing is recorded. Main thread only. */
#ifndef TSYNCFINDER_BENCH_HOSTS_LOOP_TIMES_H
#define TSYNCFINDER_BENCH_HOSTS_LOOP_TIMES_H

#include <stdint.h>

/* The file: numbers of the machine's own byte order, in us. Points in time are of the monotonic clock, all
 * other times are what the main thread worked. */
typedef struct {
    uint64_t asked;             /* files that Nautilus has asked about at least once */
    uint64_t last_asked;        /* when it asked about the last of them */
    uint64_t badged;            /* files that have had an emblem at least once */
    uint64_t last_badged;       /* when the last of them got it */
    uint64_t questions;         /* of Nautilus, about any file */
    uint64_t longest_callback;  /* in the plugin */
    uint64_t longest_turn;      /* all callbacks of the plugin within one turn of the main loop */
    uint64_t longest_loop_turn; /* one turn of the main loop, whoever spent it */
    uint64_t total;             /* in the plugin */
} LoopTimes;

#endif
