// The control of the planting test: a program that takes VERSION.dll by import and
// tdh.dll by the ordinary search order, as ksdiag once did. Run from a folder holding
// planted copies of both, it loads them, which shows that the test's folder really
// plants; ksdiag, run from the same kind of folder, must load neither.

#include <windows.h>

int main()
{
    DWORD ignored = 0;
    ::GetFileVersionInfoSizeW(L"PlantingProbe", &ignored);
    const HMODULE tdh = ::LoadLibraryW(L"tdh.dll");
    if (tdh != nullptr) {
        ::FreeLibrary(tdh);
    }
    return 0;
}
