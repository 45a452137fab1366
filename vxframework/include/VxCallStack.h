#ifndef VX_CALL_STACK_H
#define VX_CALL_STACK_H
class VxCallStack
{
public:
    // Prints the calling thread's stack to standard error; depth -1 = all.
    static void dumpDirectly(int depth);
};
#endif
