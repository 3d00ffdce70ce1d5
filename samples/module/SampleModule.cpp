// The module of the sample log (samples/kestrova-sample.etl): a stand-in for a product
// component, built with the project's debug information so that VIEW /callstack names its
// functions, files and lines. Trace_Write stands for the logging machinery that a stack
// walk skips; the others for the component's own code that called it.

extern "C" {

__declspec(dllexport) __attribute__((noinline, noipa)) int Trace_Write(int value)
{
    return value + 1;
}

__declspec(dllexport) __attribute__((noinline, noipa)) int LoadConfiguration(int value)
{
    return Trace_Write(value) * 2;
}

__declspec(dllexport) __attribute__((noinline, noipa)) int HandleRequest(int value)
{
    return LoadConfiguration(value) + 3;
}

__declspec(dllexport) __attribute__((noinline, noipa)) int ServiceMain(int value)
{
    return HandleRequest(value) - 1;
}
}
