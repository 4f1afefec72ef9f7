/*
 * What host_monitor asks of the operating system. readings_linux.c and readings_windows.c answer;
 * the build takes one of them. Everything here is called from the main thread only.
 */
#ifndef HOST_MONITOR_READINGS_H
#define HOST_MONITOR_READINGS_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

enum ReadingKind {
    kReadingCpuBusy,    /* percent of all cores since the last call (since boot at first) */
    kReadingMemoryUsed, /* percent of the physical memory */
    kReadingDiskUsed,   /* percent of the volume that `path` lies on */
    kReadingProcesses,  /* number of processes */
    kReadingUptime,     /* hours since boot */
    kReadingCount
};

struct Reading {
    bool known; /* false when the system did not say */
    double value;
    char details[128]; /* JSON object with the numbers behind the value */
};

/* Takes all readings at once. */
void TakeReadings(struct Reading readings[kReadingCount], const char* path);

/* This machine's name, cut to fit. */
void GetHostName(char* buffer, size_t size);

/* Milliseconds since some fixed moment, never going back. */
uint64_t MonotonicMs(void);

/* Sleeps that long, or shorter when a signal arrives. */
void SleepMs(uint32_t milliseconds);

#endif
