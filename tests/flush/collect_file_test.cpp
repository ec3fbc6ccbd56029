// The collect file: what stands in it, and in which order.
#include "tests/support/share_test.h"

using collect_file = started_share;

TEST_F(collect_file, holds_updates_then_other_changes_then_extents_in_order_of_arrival) {
    for (const char* name : {"a", "e1", "b"})
        add(name, *name == 'e' ? "extent=1 vtime=1" : "vtime=1");
    update("c");
    update("e2", "extent=1");
    remove("d");
    update("a", "size=3");  // merged: still an add, and no line of its own
    update("f", "extent=-1");
    add("g", "extent=-1 vtime=1");  // a record that does not say counts as an extent for its deletion time alone
    EXPECT_EQ(collected(),
              "*??|<UPD>|<ADDV>1|<VGID>v1|<BAP>c|<EPG>p1|<IEXT>0|<LFN>c|\n"
              "*??|<UPD>|<ADDV>1|<VGID>v1|<BAP>f|<EPG>p1|<LFN>f|\n"
              "*??|<ADD>|<SHOW>|<VTIM>1|<VTMS>0|<ADDV>1|<VGID>v1|<BAP>a|<EPG>p1|<FS>3|<IEXT>0|<LFN>a|\n"
              "*??|<ADD>|<SHOW>|<VTIM>1|<VTMS>0|<ADDV>1|<VGID>v1|<BAP>b|<EPG>p1|<IEXT>0|<LFN>b|\n"
              "*??|<DEL>|<ADDV>1|<VGID>v1|<BAP>d|<EPG>p1|<DTIM>5|<IEXT>0|<LFN>d|\n"
              "*??|<ADD>|<SHOW>|<VTIM>1|<VTMS>0|<ADDV>1|<VGID>v1|<BAP>g|<EPG>p1|<DTIM>0|<LFN>g|\n"
              "*??|<ADD>|<SHOW>|<VTIM>1|<VTMS>0|<VGID>v1|<BAP>e1|<EPG>p1|<OTYP>1|<DTIM>0|<IEXT>1|<LFN>e1|\n"
              "*??|<UPD>|<UKEY>v1|<BAP>e2|<EPG>p1|<OTYP>1|<IEXT>1|<LFN>e2|\n");
}
