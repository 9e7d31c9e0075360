# mime.cs - the server's names of character sets and those of MIME: SERVER-NAME MIME-NAME
# Meridian Freight, messaging team, messaging@meridian.example
#
# On the way out the first line with the server's name gives the MIME name, so the
# name to write comes first; the other lines are names that arrive in mail. Blanks,
# tabs, "=", double quotes and ";" separate the two: IA5="US-ASCII"; is a line too.
# At most 15 and 31 characters.  Try: mim charset ISO8859_15

IA5             US-ASCII
IA5             ASCII
IA5             ANSI_X3.4-1968
IA5             ISO646-US
UTF8            UTF-8
UTF8            unicode-1-1-utf-8
T61INTL         T.61-8bit

# Western and Central Europe
ISO8859_1       ISO-8859-1
ISO8859_1       ISO_8859-1:1987
ISO8859_1       latin1
ISO8859_1       iso8859-1
ISO8859_2       ISO-8859-2
ISO8859_2       latin2
ISO8859_3       ISO-8859-3
ISO8859_4       ISO-8859-4
ISO8859_9       ISO-8859-9
ISO8859_9       latin5
ISO8859_10      ISO-8859-10
ISO8859_13      ISO-8859-13
ISO8859_14      ISO-8859-14
ISO8859_15      ISO-8859-15
ISO8859_15      latin-9
ISO8859_16      ISO-8859-16
WINDOWS_1250    windows-1250
WINDOWS_1252    windows-1252
WINDOWS_1252    cp1252
WINDOWS_1254    windows-1254
WINDOWS_1257    windows-1257
IBM437          IBM437
IBM850          IBM850
IBM850          cp850
MACINTOSH       macintosh

# Cyrillic, Greek, Arabic, Hebrew, Thai, Vietnamese
ISO8859_5       ISO-8859-5
ISO8859_6       ISO-8859-6
ISO8859_7       ISO-8859-7
ISO8859_7       greek
ISO8859_8       ISO-8859-8
ISO8859_8       ISO-8859-8-I
ISO8859_11      ISO-8859-11
WINDOWS_874     windows-874
WINDOWS_1251    windows-1251
WINDOWS_1251    cp1251
WINDOWS_1253    windows-1253
WINDOWS_1255    windows-1255
WINDOWS_1256    windows-1256
WINDOWS_1258    windows-1258
KOI8_R          KOI8-R
KOI8_U          KOI8-U
TIS620          TIS-620
IBM866          IBM866

# Japanese, Korean, Chinese
ISO2022_JP      ISO-2022-JP
SHIFT_JIS       Shift_JIS
SHIFT_JIS       x-sjis
SHIFT_JIS       windows-31j
EUC_JP          EUC-JP
ISO2022_KR      ISO-2022-KR
EUC_KR          EUC-KR
UHC             ks_c_5601-1987
ISO2022_CN      ISO-2022-CN
GB2312          GB2312
GBK             GBK
GB18030         GB18030
BIG5            Big5
BIG5_HKSCS      Big5-HKSCS
