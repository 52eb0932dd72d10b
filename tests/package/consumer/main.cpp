// The smallest use of the installed package.
#include <zmu/foundation/UTL_String.h>

int main()
{
    const UTL_String text;
    return 0;
}
