/* The readings on Linux: from /proc and statvfs. */
#include <dirent.h>
#include <inttypes.h>
#include <stdio.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include "readings.h"

static void SetValue(struct Reading* reading, double value) {
    reading->value = value;
    reading->known = true;
}

static void SetPercent(struct Reading* reading, uint64_t part, uint64_t whole) {
    if (whole > 0) SetValue(reading, 100.0 * (double)part / (double)whole);
}

/* The first line of /proc/stat: clock ticks of all cores by state; idle and iowait are the fourth
 * and fifth. */
static void ReadCpu(struct Reading* reading) {
    static uint64_t last_busy, last_total;
    uint64_t ticks[8] = {0};
    uint64_t total = 0;
    FILE* file = fopen("/proc/stat", "r");
    if (file == NULL) return;
    if (fscanf(file, "cpu") == 0) {
        for (size_t i = 0; i < 8 && fscanf(file, "%" SCNu64, &ticks[i]) == 1; ++i) {
            total += ticks[i];
        }
    }
    fclose(file);
    uint64_t busy = total - ticks[3] - ticks[4];
    SetPercent(reading, busy - last_busy, total - last_total);
    snprintf(reading->details, sizeof reading->details,
             "{\"busy_ticks\":%" PRIu64 ",\"ticks\":%" PRIu64 "}", busy - last_busy,
             total - last_total);
    last_busy = busy;
    last_total = total;
}

static void ReadMemory(struct Reading* reading) {
    uint64_t total = 0, available = 0;
    char line[128];
    FILE* file = fopen("/proc/meminfo", "r");
    if (file == NULL) return;
    while (fgets(line, sizeof line, file) != NULL) {
        sscanf(line, "MemTotal: %" SCNu64, &total);
        sscanf(line, "MemAvailable: %" SCNu64, &available);
    }
    fclose(file);
    SetPercent(reading, total - available, total);
    snprintf(reading->details, sizeof reading->details,
             "{\"total_bytes\":%" PRIu64 ",\"available_bytes\":%" PRIu64 "}", total * 1024,
             available * 1024);
}

static void ReadDisk(struct Reading* reading, const char* path) {
    struct statvfs volume;
    if (statvfs(path, &volume) != 0) return;
    uint64_t total = (uint64_t)volume.f_blocks * volume.f_frsize;
    uint64_t available = (uint64_t)volume.f_bavail * volume.f_frsize;
    SetPercent(reading, total - available, total);
    snprintf(reading->details, sizeof reading->details,
             "{\"total_bytes\":%" PRIu64 ",\"available_bytes\":%" PRIu64 "}", total, available);
}

static void ReadProcesses(struct Reading* reading) {
    uint32_t count = 0;
    const struct dirent* entry;
    DIR* folder = opendir("/proc");
    if (folder == NULL) return;
    while ((entry = readdir(folder)) != NULL) {
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9') ++count;
    }
    closedir(folder);
    SetValue(reading, count);
}

static void ReadUptime(struct Reading* reading) {
    double seconds;
    FILE* file = fopen("/proc/uptime", "r");
    if (file == NULL) return;
    if (fscanf(file, "%lf", &seconds) == 1) SetValue(reading, seconds / 3600.0);
    fclose(file);
}

void TakeReadings(struct Reading readings[kReadingCount], const char* path) {
    for (int i = 0; i < kReadingCount; ++i)
        readings[i] = (struct Reading){.details = "{}"};
    ReadCpu(&readings[kReadingCpuBusy]);
    ReadMemory(&readings[kReadingMemoryUsed]);
    ReadDisk(&readings[kReadingDiskUsed], path);
    ReadProcesses(&readings[kReadingProcesses]);
    ReadUptime(&readings[kReadingUptime]);
}

void GetHostName(char* buffer, size_t size) {
    if (gethostname(buffer, size) != 0) snprintf(buffer, size, "localhost");
    buffer[size - 1] = '\0';
}

uint64_t MonotonicMs(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint64_t)now.tv_sec * 1000 + (uint64_t)now.tv_nsec / 1000000;
}

void SleepMs(uint32_t milliseconds) {
    struct timespec time = {milliseconds / 1000, (long)(milliseconds % 1000) * 1000000};
    nanosleep(&time, NULL);
}
