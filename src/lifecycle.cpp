// What happens when the library is loaded into a process and when it leaves it.
#include <deskreader.h>
