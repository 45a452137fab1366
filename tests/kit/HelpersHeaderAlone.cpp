// Built without Qt on the include path: the first-hour helpers need only the
// installed headers and the library.
#include <OrvKitInbox.h>
#include <OrvKitOrigins.h>

int main()
{
    OrvKitInbox inbox;
    OrvKitPreferences preferences;
    return inbox.isOpen() || OrvKitOrigins::load("/nonexistent", preferences) ? 1 : 0;
}
