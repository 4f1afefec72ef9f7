/* The readings on Windows. */
#define WIN32_LEAN_AND_MEAN
#define PSAPI_VERSION 2
#include <windows.h>
/* After windows.h, which it needs. */
#include <psapi.h>

#include <inttypes.h>
#include <stdio.h>

#include "readings.h"

static void SetValue(struct Reading* reading, double value) {
    reading->value = value;
    reading->known = true;
}

static void SetPercent(struct Reading* reading, uint64_t part, uint64_t whole) {
    if (whole > 0) SetValue(reading, 100.0 * (double)part / (double)whole);
}

static uint64_t Ticks(FILETIME time) {
    return ((uint64_t)time.dwHighDateTime << 32) | time.dwLowDateTime;
}

/* The kernel's time includes the idle time. */
static void ReadCpu(struct Reading* reading) {
    static uint64_t last_busy, last_total;
    FILETIME idle, kernel, user;
    if (!GetSystemTimes(&idle, &kernel, &user)) return;
    uint64_t total = Ticks(kernel) + Ticks(user);
    uint64_t busy = total - Ticks(idle);
    SetPercent(reading, busy - last_busy, total - last_total);
    snprintf(reading->details, sizeof reading->details,
             "{\"busy_ticks\":%" PRIu64 ",\"ticks\":%" PRIu64 "}", busy - last_busy,
             total - last_total);
    last_busy = busy;
    last_total = total;
}

static void SetSpace(struct Reading* reading, uint64_t total, uint64_t available) {
    SetPercent(reading, total - available, total);
    snprintf(reading->details, sizeof reading->details,
             "{\"total_bytes\":%" PRIu64 ",\"available_bytes\":%" PRIu64 "}", total, available);
}

static void ReadDisk(struct Reading* reading, const char* path) {
    wchar_t wide_path[MAX_PATH], volume[MAX_PATH];
    ULARGE_INTEGER available, total;
    if (!MultiByteToWideChar(CP_UTF8, 0, path, -1, wide_path, MAX_PATH)) return;
    if (!GetVolumePathNameW(wide_path, volume, MAX_PATH)) return;
    if (!GetDiskFreeSpaceExW(volume, &available, &total, NULL)) return;
    SetSpace(reading, total.QuadPart, available.QuadPart);
}

void TakeReadings(struct Reading readings[kReadingCount], const char* path) {
    MEMORYSTATUSEX memory = {.dwLength = sizeof memory};
    PERFORMANCE_INFORMATION performance = {.cb = sizeof performance};
    for (int i = 0; i < kReadingCount; ++i)
        readings[i] = (struct Reading){.details = "{}"};
    ReadCpu(&readings[kReadingCpuBusy]);
    if (GlobalMemoryStatusEx(&memory)) {
        SetSpace(&readings[kReadingMemoryUsed], memory.ullTotalPhys, memory.ullAvailPhys);
    }
    ReadDisk(&readings[kReadingDiskUsed], path);
    if (GetPerformanceInfo(&performance, sizeof performance)) {
        SetValue(&readings[kReadingProcesses], performance.ProcessCount);
    }
    SetValue(&readings[kReadingUptime], (double)GetTickCount64() / 3600000.0);
}

void GetHostName(char* buffer, size_t size) {
    DWORD length = (DWORD)size;
    if (!GetComputerNameExA(ComputerNameDnsHostname, buffer, &length)) {
        snprintf(buffer, size, "localhost");
    }
}

uint64_t MonotonicMs(void) {
    return GetTickCount64();
}

void SleepMs(uint32_t milliseconds) {
    Sleep(milliseconds);
}
