// What becomes of one result of the index server.
#include "tests/support/share_test.h"

using extraction = started_share;

TEST_F(extraction, results_are_converted_field_by_field) {
    struct row {
        bool is_extent, cloud, ignore_deleted;
        const char *sync_folder, *item, *record;
    };
    const std::string empty = "mode=0 size=0 uid=4294967295 gid=4294967295";
    const row rows[] = {
        {false, false, false, "/5",
         "path=/5/d/a name=a version=V object=O parent=P mode=33188 size=512 uid=12 gid=0 atime=7 ctime=8 mtime=9 "
         "dtime=11 "
         "vtime=5000000000 etype=7 enum=3 a=4294967297 b=8589934592 c=3 xattr=x custom.EXTENT_SIZE=77 "
         "custom.LINK_TARGET=t custom.custom_owner=ann custom.k=v",
         "name=a path=/d/a version=V object=O parent=P mode=33188 size=512 uid=12 gid=0 atime=7 ctime=8 mtime=9 "
         "dtime=11 "
         "vtime=5000000000 etype=1 esize=77 link=t extent=0 a=1 b=8589934592 c=3 xattr=x custom.=v custom.owner=ann"},
        {true, true, false, "/5",
         "path=/5/d/a name=a version=V object=O parent=P mode=33188 size=512 uid=12 enum=3 vtime=2 "
         "custom.cust_owner=ann",
         "version=V object=O parent=P atime=0 ctime=0 mtime=0 vtime=2 etype=0 extent=1 enum=3 a=0 b=0 c=0 "
         "custom.cust_owner=ann"},
        {false, false, false, "/5", "path=/5 name=5 uid=me atime=2147483648 mtime=4294967296 custom.DELETED_TIME=12",
         "name=/ path=/ mode=0 size=0 uid=4294967295 gid=4294967295 atime=-2147483648 ctime=0 mtime=0 dtime=12 vtime=0 "
         "etype=0 extent=0 a=0 b=0 c=0"},
        {false, false, false, "/", "path=/a/b name=b", "name=b path=a/b @"},
        {false, false, false, "/55555", "path=/5 name=5", "name=5 @"},  // shorter than what is cut off
        {false, false, false, "/5", "name=n dtime=10", "gone"},
        {false, false, true, "/5", "name=n dtime=10",
         "name=n mode=0 size=0 uid=4294967295 gid=4294967295 atime=0 ctime=0 "
         "mtime=0 dtime=10 vtime=0 etype=0 extent=0 a=0 b=0 c=0"},
    };
    for (const row& r : rows) {
        reach::sync_folder(*share) = r.sync_folder;
        reach::is_solr_cloud(*share) = r.cloud;
        std::string text = search_answer({r.item});
        KT5ContentIndexing::ZYSearchResp response;
        ASSERT_EQ(response.unserialize(text), 0);
        auto set = response.getObjectAccessor(true, false, 7, 13, 14, 33);
        auto list = set->getlistobject<KT5ContentIndexing::GResultItem>(1, 1, false);
        index_iface_props props;
        const int ret = reach::extract_results_zysearch(*share, list->begin(), props, r.is_extent,
                                                        index_iface_browse_fields(), 10000000000, r.ignore_deleted);
        std::string expected = r.record;
        if (const auto place = expected.find('@'); place != std::string::npos) {
            expected.replace(place, 1, empty + " atime=0 ctime=0 mtime=0 vtime=0 etype=0 extent=0 a=0 b=0 c=0");
        }
        EXPECT_EQ(ret == 0 ? text_of(props) : "gone", expected) << r.item;
    }
}
