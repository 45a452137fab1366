#ifndef VX_DBG_OUTPUT_H
#define VX_DBG_OUTPUT_H

// Debug output. The tag of the located DbgPrint is the framework's (1 marks
// an error).
class VxDbgOutput
{
public:
    static void DbgPrint(const char* file, const char* function, int line, int tag, const char* format, ...)
        __attribute__((format(printf, 5, 6)));
    static void DbgPrint(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
};
#endif
