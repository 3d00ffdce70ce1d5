// A module for the call-stack tests: a few functions at known exports, built with the
// project's debug information so that the system's symbol handler can name them. The
// "Trace_" function stands for the logging machinery a stack walk skips.

extern "C" {

__declspec(dllexport) __attribute__((noinline, noipa)) int Trace_Write(int value)
{
    return value + 1;
}

__declspec(dllexport) __attribute__((noinline, noipa)) int InnerWork(int value)
{
    return Trace_Write(value) * 2;
}

__declspec(dllexport) __attribute__((noinline, noipa)) int OuterWork(int value)
{
    return InnerWork(value) + 3;
}
}
