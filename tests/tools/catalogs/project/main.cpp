#include "texts.h"

int main()
{
    return texts::id::s == 1 ? 0 : 1;
}
