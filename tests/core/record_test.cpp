// The record: what a merge takes over and what it never touches.
#include "tests/support/share_test.h"

using record = share_test;

TEST_F(record, merge_takes_what_is_set_and_keeps_identity_and_first_version_time) {
    struct row {
        const char *into, *from, *result;
    };
    const row rows[] = {
        {"op=ADD path=/a object=o vtime=1 size=7 custom.k=1", "", "op=ADD path=/a object=o size=7 vtime=1 custom.k=1"},
        {"op=ADD name=n object=o vtime=1 sec=2 extent=0 a=1 b=2 c=3 size=7 uid=1",
         "op=DEL name=x object=y vtime=8 sec=9 extent=1 a=9 b=9 c=9 size=0 uid=0",
         "op=ADD name=n object=o size=0 uid=0 vtime=1 sec=2 extent=0 a=1 b=2 c=3"},
        {"op=UPD", "path=/p version=v parent=g mode=0 size=-2 atime=1 dtime=0 etype=1 link=l xattr=x",
         "op=UPD path=/p version=v parent=g mode=0 size=-2 atime=1 dtime=0 etype=1 link=l xattr=x"},
        {"custom.a=1 custom.b=2", "custom.b=3 custom.c=4", " custom.a=1 custom.b=3 custom.c=4"},
    };
    make();
    for (const row& r : rows) {
        index_iface_props into = record_of(r.into);
        reach::copy_valid_props(*share, record_of(r.from), into);
        EXPECT_EQ(text_of(into), r.result);
    }
}
