#!/usr/bin/env python3
"""Writes resources/Manufact/manufact.atx, the satellite antenna file that the
installation ships, from the table of facts below.

    python3 tools/make_manufact_atx.py [OUTPUT]

The file holds satellite antennas only: which satellite carried which PRN
from when, its block type, SVN and COSPAR designator. The block type is what
the conversion needs (it tells geostationary, inclined and medium orbit
BeiDou and QZSS satellites apart); the phase centre offsets are nominal
values of each block and the phase variations are zero.

Where the facts come from (public records, gathered 2026-11):
  - PRNs, SVNs and dates of launch: IGS satellite metadata and MGEX
    constellation pages, the ESA GNSS frames kernel (2024), the QZSS
    notices of the Cabinet Office, and launch reports.
  - GPS IIR/IIR-M/IIF and GLONASS-M offsets: block means of the IGS
    igs05.atx. BeiDou-2: the conventional MGEX offsets. Blocks without a
    published value at hand carry zero offsets.
Dates of PRN changes that no record gives exactly are replaced by a date
when the assignment is known to hold, so that no record claims more time
than it had; the earlier history of such satellites is left out. BeiDou-3
SVNs follow the launch order of the IGS numbering (C212, C217, C220 and
C225 are confirmed). Satellites whose PRN is not confirmed are left out:
GPS III SV08 and later, Galileo GSAT0225 and later, BeiDou-3 MEO
satellites launched after 2019, and most GLONASS slots.
Stdlib only; the output depends on nothing but this file.
"""
import sys
from pathlib import Path

FILE_DATE = "23-NOV-26"
AGENCY = "UBLOX2TRV"
ZENITH = (0.0, 17.0, 1.0)   # nadir angles of the (zero) patterns, degrees

# Frequencies written per constellation (ANTEX codes).
FREQUENCIES = {
    "G": ("G01", "G02"),
    "R": ("R01", "R02"),
    "E": ("E01", "E05", "E07"),
    "C": ("C02", "C07", "C06"),
    "J": ("J01", "J02", "J05"),
}

# Nominal phase centre offsets by block, north/east/up in millimetres.
OFFSETS = {
    "BLOCK IIR-A": (0.0, 0.0, 1144.6),
    "BLOCK IIR-B": (0.0, 0.0, 669.0),
    "BLOCK IIR-M": (0.0, 0.0, 699.4),
    "BLOCK IIF": (394.0, 0.0, 1407.0),
    "GLONASS-M": (-545.0, 0.0, 2267.4),
    "BEIDOU-2G": (600.0, 0.0, 1100.0),
    "BEIDOU-2I": (600.0, 0.0, 1100.0),
    "BEIDOU-2M": (600.0, 0.0, 1100.0),
}

OPEN = None


def day(y, m, d, h=0, mi=0, s=0.0):
    return (y, m, d, h, mi, s)


def last_moment(y, m, d):
    """The end of a day, as ANTEX writes VALID UNTIL."""
    return (y, m, d, 23, 59, 59.9999999)


# (PRN, SVN, COSPAR, block, valid from, valid until)
SATELLITES = [
    # GPS: each satellite has held its PRN since launch, except G01 (SVN 80
    # took it over on 2024-12-17).
    ("G01", "G080", "2024-242A", "BLOCK IIIA", day(2024, 12, 17), OPEN),
    ("G02", "G061", "2004-045A", "BLOCK IIR-B", day(2004, 11, 6), OPEN),
    ("G03", "G069", "2014-068A", "BLOCK IIF", day(2014, 10, 29), OPEN),
    ("G04", "G074", "2018-109A", "BLOCK IIIA", day(2018, 12, 23), OPEN),
    ("G05", "G050", "2009-043A", "BLOCK IIR-M", day(2009, 8, 17), OPEN),
    ("G06", "G067", "2014-026A", "BLOCK IIF", day(2014, 5, 17), OPEN),
    ("G07", "G048", "2008-012A", "BLOCK IIR-M", day(2008, 3, 15), OPEN),
    ("G08", "G072", "2015-033A", "BLOCK IIF", day(2015, 7, 15), OPEN),
    ("G09", "G068", "2014-045A", "BLOCK IIF", day(2014, 8, 2), OPEN),
    ("G10", "G073", "2015-062A", "BLOCK IIF", day(2015, 10, 31), OPEN),
    ("G11", "G078", "2021-054A", "BLOCK IIIA", day(2021, 6, 17), OPEN),
    ("G12", "G058", "2006-052A", "BLOCK IIR-M", day(2006, 11, 17), OPEN),
    ("G13", "G043", "1997-035A", "BLOCK IIR-A", day(1997, 7, 23), OPEN),
    ("G14", "G077", "2020-078A", "BLOCK IIIA", day(2020, 11, 5), OPEN),
    ("G15", "G055", "2007-047A", "BLOCK IIR-M", day(2007, 10, 17), OPEN),
    ("G16", "G056", "2003-005A", "BLOCK IIR-A", day(2003, 1, 29), OPEN),
    ("G17", "G053", "2005-038A", "BLOCK IIR-M", day(2005, 9, 26), OPEN),
    ("G18", "G075", "2019-056A", "BLOCK IIIA", day(2019, 8, 22), OPEN),
    ("G19", "G059", "2004-009A", "BLOCK IIR-B", day(2004, 3, 20), OPEN),
    ("G20", "G051", "2000-025A", "BLOCK IIR-A", day(2000, 5, 11), OPEN),
    ("G21", "G045", "2003-010A", "BLOCK IIR-A", day(2003, 3, 31), OPEN),
    ("G23", "G076", "2020-041A", "BLOCK IIIA", day(2020, 6, 30), OPEN),
    ("G24", "G065", "2012-053A", "BLOCK IIF", day(2012, 10, 4), OPEN),
    ("G25", "G062", "2010-022A", "BLOCK IIF", day(2010, 5, 28), OPEN),
    ("G26", "G071", "2015-013A", "BLOCK IIF", day(2015, 3, 25), OPEN),
    ("G27", "G066", "2013-023A", "BLOCK IIF", day(2013, 5, 15), OPEN),
    ("G28", "G079", "2023-009A", "BLOCK IIIA", day(2023, 1, 18), OPEN),
    ("G29", "G057", "2007-062A", "BLOCK IIR-M", day(2007, 12, 20), OPEN),
    ("G30", "G064", "2014-008A", "BLOCK IIF", day(2014, 2, 21), OPEN),
    ("G31", "G052", "2006-042A", "BLOCK IIR-M", day(2006, 9, 25), OPEN),
    ("G32", "G070", "2016-007A", "BLOCK IIF", day(2016, 2, 5), OPEN),
    # GLONASS: the slots whose satellite is known for certain.
    ("R01", "R730", "2009-070A", "GLONASS-M", day(2009, 12, 14), OPEN),
    ("R06", "R733", "2009-070B", "GLONASS-M", day(2010, 10, 1), (2025, 12, 24, 5, 22, 29.9999999)),
    ("R06", "R804", "2025-042A", "GLONASS-K2", day(2025, 12, 24, 5, 22, 30.0), OPEN),
    ("R13", "R721", "2007-065A", "GLONASS-M", day(2007, 12, 25), OPEN),
    ("R19", "R720", "2007-052A", "GLONASS-M", day(2007, 10, 26), OPEN),
    ("R20", "R719", "2007-052B", "GLONASS-M", day(2007, 10, 26), OPEN),
    # Galileo: IOV (GALILEO-1) and FOC (GALILEO-2) satellites up to GSAT0224.
    ("E11", "E101", "2011-060A", "GALILEO-1", day(2011, 10, 21), OPEN),
    ("E12", "E102", "2011-060B", "GALILEO-1", day(2011, 10, 21), OPEN),
    ("E19", "E103", "2012-055A", "GALILEO-1", day(2012, 10, 12), OPEN),
    ("E18", "E201", "2014-050A", "GALILEO-2", day(2014, 8, 22), OPEN),
    ("E14", "E202", "2014-050B", "GALILEO-2", day(2014, 8, 22), OPEN),
    ("E26", "E203", "2015-017A", "GALILEO-2", day(2015, 3, 27), OPEN),
    ("E22", "E204", "2015-017B", "GALILEO-2", day(2015, 3, 27), OPEN),
    ("E24", "E205", "2015-045A", "GALILEO-2", day(2015, 9, 11), OPEN),
    ("E30", "E206", "2015-045B", "GALILEO-2", day(2015, 9, 11), OPEN),
    ("E08", "E208", "2015-079B", "GALILEO-2", day(2015, 12, 17), OPEN),
    ("E09", "E209", "2015-079A", "GALILEO-2", day(2015, 12, 17), OPEN),
    ("E01", "E210", "2016-030B", "GALILEO-2", day(2016, 5, 24), OPEN),
    ("E02", "E211", "2016-030A", "GALILEO-2", day(2016, 5, 24), OPEN),
    ("E07", "E207", "2016-069A", "GALILEO-2", day(2016, 11, 17), OPEN),
    ("E03", "E212", "2016-069B", "GALILEO-2", day(2016, 11, 17), OPEN),
    ("E04", "E213", "2016-069C", "GALILEO-2", day(2016, 11, 17), OPEN),
    ("E05", "E214", "2016-069D", "GALILEO-2", day(2016, 11, 17), OPEN),
    ("E21", "E215", "2017-079A", "GALILEO-2", day(2017, 12, 12), OPEN),
    ("E25", "E216", "2017-079B", "GALILEO-2", day(2017, 12, 12), OPEN),
    ("E27", "E217", "2017-079C", "GALILEO-2", day(2017, 12, 12), OPEN),
    ("E31", "E218", "2017-079D", "GALILEO-2", day(2017, 12, 12), OPEN),
    ("E36", "E219", "2018-060C", "GALILEO-2", day(2018, 7, 25), OPEN),
    ("E13", "E220", "2018-060D", "GALILEO-2", day(2018, 7, 25), OPEN),
    ("E15", "E221", "2018-060A", "GALILEO-2", day(2018, 7, 25), OPEN),
    ("E33", "E222", "2018-060B", "GALILEO-2", day(2018, 7, 25), OPEN),
    ("E34", "E223", "2021-116A", "GALILEO-2", day(2021, 12, 5), OPEN),
    ("E10", "E224", "2021-116B", "GALILEO-2", day(2021, 12, 5), OPEN),
    # BeiDou-2: GEO C01-C05, IGSO C06-C10, C13, C16, MEO C11, C12, C14.
    ("C01", "C003", "2010-001A", "BEIDOU-2G", day(2010, 1, 16), last_moment(2019, 5, 16)),
    ("C01", "C020", "2019-027A", "BEIDOU-2G", day(2019, 12, 27), OPEN),
    ("C02", "C016", "2012-059A", "BEIDOU-2G", day(2012, 10, 25), OPEN),
    ("C03", "C004", "2010-024A", "BEIDOU-2G", day(2010, 6, 2), last_moment(2018, 9, 27)),
    ("C03", "C018", "2016-037A", "BEIDOU-2G", day(2019, 12, 27), OPEN),
    ("C04", "C006", "2010-057A", "BEIDOU-2G", day(2010, 10, 31), OPEN),
    ("C05", "C011", "2012-008A", "BEIDOU-2G", day(2012, 2, 24), OPEN),
    ("C06", "C005", "2010-036A", "BEIDOU-2I", day(2010, 7, 31), (2026, 4, 10, 15, 59, 59.9999999)),
    ("C07", "C007", "2010-068A", "BEIDOU-2I", day(2010, 12, 17), OPEN),
    ("C08", "C008", "2011-013A", "BEIDOU-2I", day(2011, 4, 9), OPEN),
    ("C09", "C009", "2011-038A", "BEIDOU-2I", day(2011, 7, 26), OPEN),
    ("C10", "C010", "2011-073A", "BEIDOU-2I", day(2011, 12, 1), OPEN),
    ("C11", "C012", "2012-018A", "BEIDOU-2M", day(2012, 4, 29), OPEN),
    ("C12", "C013", "2012-018B", "BEIDOU-2M", day(2012, 4, 29), OPEN),
    ("C13", "C014", "2012-050A", "BEIDOU-2M", day(2012, 9, 18), last_moment(2014, 10, 21)),
    ("C15", "C017", "2016-021A", "BEIDOU-2I", day(2016, 3, 29), last_moment(2016, 10, 11)),
    ("C13", "C017", "2016-021A", "BEIDOU-2I", day(2016, 10, 12), OPEN),
    ("C14", "C015", "2012-050B", "BEIDOU-2M", day(2012, 9, 18), OPEN),
    ("C16", "C019", "2018-057A", "BEIDOU-2I", day(2018, 7, 9), OPEN),
    # BeiDou-3: MEO C19-C30, C32-C37, C41-C46 by builder, IGSO C38-C40, GEO
    # C59-C62. BeiDou-3 IGSO-1 moved from C38 to C06 on 2026-04-10.
    ("C19", "C201", "2017-069A", "BEIDOU-3M-CAST", day(2017, 11, 5), OPEN),
    ("C20", "C202", "2017-069B", "BEIDOU-3M-CAST", day(2017, 11, 5), OPEN),
    ("C27", "C203", "2018-003A", "BEIDOU-3M-SECM", day(2018, 1, 11), OPEN),
    ("C28", "C204", "2018-003B", "BEIDOU-3M-SECM", day(2018, 1, 11), OPEN),
    ("C22", "C205", "2018-018A", "BEIDOU-3M-CAST", day(2018, 2, 12), OPEN),
    ("C21", "C206", "2018-018B", "BEIDOU-3M-CAST", day(2018, 2, 12), OPEN),
    ("C29", "C207", "2018-029A", "BEIDOU-3M-SECM", day(2018, 3, 29), OPEN),
    ("C30", "C208", "2018-029B", "BEIDOU-3M-SECM", day(2018, 3, 29), OPEN),
    ("C23", "C209", "2018-062A", "BEIDOU-3M-CAST", day(2018, 7, 29), OPEN),
    ("C24", "C210", "2018-062B", "BEIDOU-3M-CAST", day(2018, 7, 29), OPEN),
    ("C26", "C211", "2018-067A", "BEIDOU-3M-SECM", day(2018, 8, 24), OPEN),
    ("C25", "C212", "2018-067B", "BEIDOU-3M-SECM", day(2018, 8, 24), OPEN),
    ("C32", "C213", "2018-072A", "BEIDOU-3M-CAST", day(2018, 9, 19), OPEN),
    ("C33", "C214", "2018-072B", "BEIDOU-3M-CAST", day(2018, 9, 19), OPEN),
    ("C35", "C215", "2018-078A", "BEIDOU-3M-SECM", day(2018, 10, 15), OPEN),
    ("C34", "C216", "2018-078B", "BEIDOU-3M-SECM", day(2018, 10, 15), OPEN),
    ("C59", "C217", "2018-085A", "BEIDOU-3G-CAST", day(2018, 11, 1), OPEN),
    ("C36", "C218", "2018-093A", "BEIDOU-3M-CAST", day(2018, 11, 18), OPEN),
    ("C37", "C219", "2018-093B", "BEIDOU-3M-CAST", day(2018, 11, 18), OPEN),
    ("C38", "C220", "2019-023A", "BEIDOU-3I", day(2019, 4, 20), (2026, 4, 10, 15, 59, 59.9999999)),
    ("C06", "C220", "2019-023A", "BEIDOU-3I", day(2026, 4, 10, 16, 0, 0.0), OPEN),
    ("C39", "C221", "2019-035A", "BEIDOU-3I", day(2019, 6, 24), OPEN),
    ("C46", "C222", "2019-061A", "BEIDOU-3M-CAST", day(2019, 9, 22), OPEN),
    ("C45", "C223", "2019-061B", "BEIDOU-3M-CAST", day(2019, 9, 22), OPEN),
    ("C40", "C224", "2019-073A", "BEIDOU-3I", day(2019, 11, 4), OPEN),
    ("C44", "C225", "2019-078A", "BEIDOU-3M-SECM", day(2019, 11, 23), OPEN),
    ("C43", "C226", "2019-078B", "BEIDOU-3M-SECM", day(2019, 11, 23), OPEN),
    ("C41", "C227", "2019-090A", "BEIDOU-3M-CAST", day(2019, 12, 16), OPEN),
    ("C42", "C228", "2019-090B", "BEIDOU-3M-CAST", day(2019, 12, 16), OPEN),
    ("C60", "C229", "2020-017A", "BEIDOU-3G-CAST", day(2020, 3, 9), OPEN),
    ("C61", "C230", "2020-040A", "BEIDOU-3G-CAST", day(2020, 6, 23), OPEN),
    ("C62", "C231", "", "BEIDOU-3G-CAST", day(2023, 5, 17), OPEN),
    # QZSS: QZS-1 (J01) handed over to QZS-1R (J04) on 2022-03-24. QZS-3
    # and QZS-6 are geostationary; our table has no block of its own for
    # QZS-6, so it is written with the GEO block of QZS-3.
    ("J01", "J001", "2010-045A", "QZSS", day(2010, 9, 11), last_moment(2022, 3, 23)),
    ("J02", "J002", "2017-028A", "QZSS-2I", day(2017, 6, 1), OPEN),
    ("J07", "J003", "2017-048A", "QZSS-2G", day(2017, 8, 19), OPEN),
    ("J03", "J004", "2017-062A", "QZSS-2I", day(2017, 10, 9), OPEN),
    ("J04", "J005", "2021-096A", "QZSS-2A", day(2021, 10, 26), OPEN),
    ("J08", "J006", "", "QZSS-2G", day(2025, 2, 2), OPEN),
]

HEADER_COMMENTS = [
    "Satellite antennas of GPS, GLONASS, Galileo, BeiDou, QZSS,",
    "written by UBLOX2TRV from public constellation records:",
    "PRN, SVN, COSPAR ID, block type and validity of each",
    "satellite. Offsets are nominal block values (zero where",
    "none is published for the block); phase variations zero.",
    "An empty COSPAR field: the designator is not confirmed.",
    "Made by tools/make_manufact_atx.py; edit the table there.",
]


def line(data, label):
    assert len(data) <= 60, data
    return f"{data:<60}{label:<20}\n"


def time_line(moment, label):
    y, m, d, h, mi, s = moment
    return line(f"{y:6d}{m:6d}{d:6d}{h:6d}{mi:6d}{s:13.7f}", label)


def frequency(code, offset):
    columns = int(round((ZENITH[1] - ZENITH[0]) / ZENITH[2])) + 1
    north, east, up = offset
    return (line(f"   {code}", "START OF FREQUENCY")
            + line(f"{north:10.2f}{east:10.2f}{up:10.2f}", "NORTH / EAST / UP")
            + "   NOAZI" + "    0.00" * columns + "\n"
            + line(f"   {code}", "END OF FREQUENCY"))


def antenna(prn, svn, cospar, block, valid_from, valid_until):
    codes = FREQUENCIES[prn[0]]
    offset = OFFSETS.get(block, (0.0, 0.0, 0.0))
    text = line("", "START OF ANTENNA")
    text += line(f"{block:<20}{prn:<20}{svn:<10}{cospar:<10}", "TYPE / SERIAL NO")
    text += line(f"{'NOMINAL':<20}{AGENCY:<20}{0:6d}{'':4}{FILE_DATE:<10}", "METH / BY / # / DATE")
    text += line(f"{0.0:8.1f}", "DAZI")
    text += line(f"{ZENITH[0]:8.1f}{ZENITH[1]:6.1f}{ZENITH[2]:6.1f}", "ZEN1 / ZEN2 / DZEN")
    text += line(f"{len(codes):6d}", "# OF FREQUENCIES")
    text += time_line(valid_from, "VALID FROM")
    if valid_until is not OPEN:
        text += time_line(valid_until, "VALID UNTIL")
    text += line("UBX_2026", "SINEX CODE")
    for code in codes:
        text += frequency(code, offset)
    return text + line("", "END OF ANTENNA")


def order(entry):
    system = "GRECJ".index(entry[0][0])
    return (system, int(entry[0][1:]), entry[4])


def main():
    output = Path(sys.argv[1]) if len(sys.argv) > 1 else \
        Path(__file__).resolve().parent.parent / "resources" / "Manufact" / "manufact.atx"
    text = line(f"{1.4:8.1f}{'':12}M", "ANTEX VERSION / SYST")
    text += line("A", "PCV TYPE / REFANT")
    for comment in HEADER_COMMENTS:
        text += line(comment, "COMMENT")
    text += line("", "END OF HEADER")
    for entry in sorted(SATELLITES, key=order):
        text += antenna(*entry)
    output.write_text(text, encoding="ascii", newline="\n")
    print(f"{output}: {len(SATELLITES)} satellite antennas")


if __name__ == "__main__":
    main()
