// A program that uses libkorvex.so; run with the sanitizers, which the other tests have in the
// command alone.
#include <korvex/korvex.h>

int main()
{
    KxChar text[] = u"9";
    kxCALIBW(nullptr, nullptr, text, 5);
    KxCoInstallerContext context{};
    return kxCoInstaller(0, nullptr, nullptr, &context) == 0 ? 0 : 1;
}
