/* What consumer.c uses of it, where Windows' SDK is not at hand; msvcrt.dll has the functions. */
#include <stddef.h>

typedef struct _iobuf FILE;
int printf(const char* format, ...);
FILE* fopen(const char* path, const char* mode);
char* fgets(char* line, int size, FILE* file);
int fclose(FILE* file);
