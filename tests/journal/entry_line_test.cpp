// The text form of a change, byte for byte, in both dialects, and what its reader makes of whole and of odd lines.
#include "host/files.h"
#include "tests/support/share_test.h"

using entry_line = started_share;

TEST_F(entry_line, writer_keeps_order_and_presence_of_every_field) {
    struct row {
        bool to_journal;
        const char *record, *line;
    };
    const row rows[] = {
        {true,
         "op=ADD path=/docs/a.txt version=VG71 object=OG71 parent=OG10 mode=33188 size=512 uid=100 gid=100 atime=700 "
         "ctime=701 mtime=702 vtime=5000000000 sec=5 custom.owner=ann",
         "*??|<ADD>|<SHOW>|<VTIM>5000000000|<VTMS>5|<ADDV>1|<VGID>VG71|<BAP>OG71|<EPG>OG10|<OTYP>1|<FS>512|<MODE>33188|"
         "<UID>100|<GID>100|<ATIME>700|<CTIME>701|<MTIME>702|<CPRP>custom_owner:ann|<ERP>/5/docs/a.txt|"},
        {true,
         "op=UPD path=/docs/a.txt version=VG71 object=OG71 parent=OG10 mode=33188 size=640 mtime=703 vtime=9 sec=9",
         "*??|<UPD>|<ADDV>1|<VGID>VG71|<BAP>OG71|<EPG>OG10|<OTYP>1|<FS>640|<MODE>33188|<MTIME>703|<ERP>/5/docs/a.txt|"},
        {true, "op=DEL path=/docs version=VG72 object=OG72 parent=OG10 mode=16877 dtime=950",
         "*??|<DEL>|<ADDV>1|<VGID>VG72|<BAP>OG72|<EPG>OG10|<OTYP>1|<MODE>16877|<DTIM>950|<ERP>/5/docs|"},
        {true,
         "op=ADD path=/docs/a.txt version=VG71 object=OG71 size=128 etype=1 extent=1 enum=3 esize=9 mode=41471 uid=1 "
         "gid=1 atime=1 ctime=1 mtime=1",
         "*??|<ADD>|<SHOW>|<VGID>VG71|<BAP>OG71|<OTYP>1|<FS>128|<EXTP>1|<IEXT>1|<EXTN>3|<ERP>/5/docs/a.txt|"},
        {false, "op=REN path=/docs/b.txt version=VG71 object=OG71 parent=OG11 mode=33188",
         "*??|<UPD>|<ADDV>1|<VGID>VG71|<BAP>OG71|<EPG>OG11|<OTYP>1|<MODE>33188|<LFN>b.txt|"},
        {false, "op=ADD path=/l version=VG73 object=OG73 parent=OG10 mode=41471 link=a.txt",
         "*??|<ADD>|<SHOW>|<ADDV>1|<VGID>VG73|<BAP>OG73|<EPG>OG10|<MODE>41471|<LNKT>a.txt|<LFN>l|"},
        {false, "op=UPD path=/ version=VG01 object=OG01 mode=16877",
         "*??|<UPD>|<ADDV>1|<VGID>VG01|<BAP>OG01|<OTYP>4|<MODE>16877|<LFN>5|"},
        {true, "op=UPD version=V extent=1", "*??|<UPD>|<VGID>V|<BAP>|<OTYP>1|<IEXT>1|"},
        {false, "op=UPD object=O parent=P extent=1", "*??|<UPD>|<OTYP>1|<IEXT>1|"},
        {false, "op=UPD version=V object=O parent=P extent=1", "*??|<UPD>|<UKEY>V|<BAP>O|<EPG>P|<OTYP>1|<IEXT>1|"},
        {false, "op=UPD object=O mode=24992 size=-2 extent=0 xattr=x custom.b=2 custom.a=1",
         "*??|<UPD>|<ADDV>1|<BAP>O|<OTYP>7|<FS>-2|<MODE>24992|<IEXT>0|<XATTR>x|<CPRP>custom_a:1|<CPRP>custom_b:2|"},
        {false, "op=ADD object=O mode=8612 dtime=0 etype=0 esize=9223372036854775807",
         "*??|<ADD>|<SHOW>|<ADDV>1|<BAP>O|<OTYP>8|<MODE>8612|<DTIM>0|<EXTP>0|<EXSZ>9223372036854775807|"},
        {false, "op=ADD object=O mode=49572 uid=4294967295",
         "*??|<ADD>|<SHOW>|<ADDV>1|<BAP>O|<MODE>49572|<UID>4294967295|"},
        {true, "object=O", "*??|<ADDV>1|<BAP>O|"},
    };
    for (const row& r : rows) {
        const std::string path = (root / "line").string();
        index_iface_props props = record_of(r.record);
        CXoFile file;
        ASSERT_FALSE(file.Open(path.c_str(), 1601, 420).IsError());
        EXPECT_FALSE(reach::write_entry(*share, &file, props.idx_ops, &props, r.to_journal).IsError());
        EXPECT_EQ(read_file(path), r.line + std::string("\n"));
    }
}

TEST_F(entry_line, reader_takes_lines_as_they_come) {
    struct row {
        const char *line, *record;
    };
    const row rows[] = {
        {"*??|<ADD>|<SHOW>|<VTIM>5000000000|<VTMS>5|<ADDV>1|<VGID>V|<BAP>O|<EPG>P|<OTYP>1|<FS>512|<MODE>33188|<UID>1|<"
         "GID>2|"
         "<ATIME>7|<CTIME>8|<MTIME>9|<DTIM>0|<EXTP>1|<EXSZ>3|<IEXT>0|<EXTN>4|<LNKT>l|<XATTR>x|<CPRP>custom_owner:ann|"
         "<ERP>/5/docs/a.txt|",
         "op=ADD path=/docs/a.txt version=V object=O parent=P mode=33188 size=512 uid=1 gid=2 atime=7 ctime=8 mtime=9 "
         "dtime=0 "
         "vtime=5000000000 sec=5 etype=1 esize=3 link=l extent=0 enum=4 xattr=x custom.owner=ann"},
        {"BAP|O||<<DEL>>FS<7|FS>8", "op=DEL object=O size=8"},         // any order; the last one counts
        {"*??|<UPD>|<BAP>O|<ERP>/5|", "op=UPD object=O"},              // the root loses its path
        {"*??|<UPD>|<BAP>O|<ERP>/|", "op=UPD object=O"},               // shorter than what is cut off
        {"*??|<UPD>|<BAP>O|<ERP>xyz/q|", "op=UPD path=z/q object=O"},  // the prefix is not compared
        {"*??|<UPD>|<UKEY>K|", "op=UPD version=K object=K"},           // an extent known by its key alone
        {"*??|<DEL>|<BAP>|<OTYP>1|", "op=DEL object=OTYP"},            // an empty value swallows the next tag
        {"*??|<DEL>|<BAP>O|<FS>many|<MODE>rw|", "op=DEL object=O mode=4294967295"},
        {"*??|<DEL>|<BAP>O|<CPRP>custom_k:v:FS|<EPG>P|",
         "op=DEL object=O custom.k=v"},  // "FS" takes "EPG" for its number
        {"*??|<DEL>|<BAP>O|<CPRP>custom_k:a<b>c|<EPG>P|", "op=DEL object=O parent=P custom.k=a<b>c"},
        {"*??|<DEL>|<BAP>O|<CPRP>custom_k:|<ERP>/5/x|", "op=DEL object=O custom.k=<ERP>/5/x"},
        {"*??|<DEL>|<BAP>O|<CPRP>cu:1|<CPRP>custom_k:1|<CPRP>custom_k:2|", "op=DEL object=O custom.=1 custom.k=2"},
        {"*??|<add>|<ADD>|<BAP>O|<LFN>n|<OTYP>4|<SIZE>1|", "op=ADD object=O"},
        {"*??|<DEL>|<BAP>O|<LNKT>a|b<EPG>P|", "op=DEL object=O parent=P link=a"},
        {"*??|<BAP>O|<FS>1|", ""},                      // no operation, no item
        {"*??|<ADD>|<BAP>O|<ERP>", "op=ADD object=O"},  // a tag without its value
        {"*??|<ADD>|<BAP>O|<CPRP>custom_k", "op=ADD object=O"},
    };
    for (const row& r : rows) {
        auto* cache = reach::cur_cache(*share);
        std::string line = r.line;
        EXPECT_EQ(reach::process_single_line(*share, cache, line.data()), 0) << r.line;
        EXPECT_EQ(cache->first == nullptr ? "" : text_of(*cache->first->props), r.record) << r.line;
        reach::delete_cached_items(*share, cache);
    }
    std::string no_object = "*??|<ADD>|<VGID>V|";
    EXPECT_EQ(reach::process_single_line(*share, reach::cur_cache(*share), no_object.data()), 1);
}
