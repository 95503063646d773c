#include "platform/linux/configuration/builtin_file_types.h"

#include <array>

namespace tessary {
namespace {

constexpr auto kFileTypes = std::to_array<BuiltinFileType>({
    {".1st", "TEXT"},         {".3dm", "3DMF"},   {".3dmf", "3DMF"},    {".3g2", "3gp2"},
    {".3gp", "3gpp"},         {".8svx", "8SVX"},  {".a", "TEXT"},       {".aac", "AAC "},
    {".aif", "AIFF"},         {".aifc", "AIFC"},  {".aiff", "AIFF"},    {".amr", "amr "},
    {".applescript", "TEXT"}, {".arc", "mArc"},   {".asc", "TEXT"},     {".asf", "ASF_"},
    {".asm", "TEXT"},         {".asp", "TEXT"},   {".au", "ULAW"},      {".avi", "VfW "},
    {".bas", "TEXT"},         {".bat", "TEXT"},   {".bib", "TEXT"},     {".bin", "BINA"},
    {".bmp", "BMPf"},         {".boo", "TEXT"},   {".bz2", "Bzp2"},     {".c", "TEXT"},
    {".cc", "TEXT"},          {".cgi", "TEXT"},   {".class", "Clss"},   {".com", "PCFA"},
    {".conf", "TEXT"},        {".cp", "TEXT"},    {".cpp", "TEXT"},     {".cpt", "PACT"},
    {".csh", "TEXT"},         {".css", "TEXT"},   {".csv", "TEXT"},     {".dfont", "dfon"},
    {".dif", "TEXT"},         {".diff", "TEXT"},  {".doc", "W8BN"},     {".dot", "sDBN"},
    {".dtd", "TEXT"},         {".dv", "dvc!"},    {".dvi", "ODVI"},     {".dxf", "TEXT"},
    {".emf", "EMF "},         {".eml", "TEXT"},   {".eps", "EPSF"},     {".epsf", "EPSF"},
    {".exe", "DEXE"},         {".f", "TEXT"},     {".faq", "TEXT"},     {".flc", "FLI "},
    {".fli", "FLI "},         {".for", "TEXT"},   {".fpx", "FPix"},     {".ftn", "TEXT"},
    {".gif", "GIFf"},         {".giff", "GIFf"},  {".gz", "Gzip"},      {".h", "TEXT"},
    {".hpp", "TEXT"},         {".hqx", "TEXT"},   {".htm", "TEXT"},     {".html", "TEXT"},
    {".icns", "icns"},        {".ico", "ICO "},   {".ics", "TEXT"},     {".iff", "ILBM"},
    {".ilbm", "ILBM"},        {".image", "dImg"}, {".ini", "TEXT"},     {".iso", "rodh"},
    {".jar", "ZIP "},         {".java", "TEXT"},  {".jfif", "JPEG"},    {".jp2", "jp2 "},
    {".jpe", "JPEG"},         {".jpeg", "JPEG"},  {".jpg", "JPEG"},     {".js", "TEXT"},
    {".kar", "Midi"},         {".l", "TEXT"},     {".latex", "TEXT"},   {".lbm", "ILBM"},
    {".lha", "LHA "},         {".lisp", "TEXT"},  {".log", "TEXT"},     {".ltx", "TEXT"},
    {".lzh", "LHA "},         {".m", "TEXT"},     {".m15", "MPEG"},     {".m1a", "MPEG"},
    {".m1s", "MPEG"},         {".m1v", "M1V "},   {".m2s", "MPG2"},     {".m2v", "MPG2"},
    {".m3u", "M3U "},         {".m4a", "M4A "},   {".m4b", "M4B "},     {".m4p", "M4P "},
    {".m4v", "M4V "},         {".m75", "MPEG"},   {".mac", "PNTG"},     {".mak", "TEXT"},
    {".mbox", "TEXT"},        {".mcw", "WDBN"},   {".me", "TEXT"},      {".mid", "Midi"},
    {".midi", "Midi"},        {".mod", "STrk"},   {".moov", "MooV"},    {".mov", "MooV"},
    {".mp2", "MPEG"},         {".mp3", "MPG3"},   {".mp4", "mpg4"},     {".mpe", "MPEG"},
    {".mpeg", "MPEG"},        {".mpg", "MPEG"},   {".nfo", "TEXT"},     {".ogg", "OggS"},
    {".p", "TEXT"},           {".pas", "TEXT"},   {".patch", "TEXT"},   {".pbm", "PPGM"},
    {".pcs", "PICS"},         {".pct", "PICT"},   {".pcx", "PCXx"},     {".pdf", "PDF "},
    {".pf", "CSIT"},          {".pgm", "PPGM"},   {".php", "TEXT"},     {".pic", "PICT"},
    {".pics", "PICS"},        {".pict", "PICT"},  {".pit", "PIT "},     {".pkg", "HBSF"},
    {".pl", "TEXT"},          {".pls", "PLS "},   {".png", "PNGf"},     {".pnm", "PPGM"},
    {".pnt", "PNTG"},         {".pntg", "PNTG"},  {".pot", "PPOT"},     {".ppm", "PPGM"},
    {".pps", "PPSS"},         {".ppt", "SLD8"},   {".ps", "TEXT"},      {".psd", "8BPS"},
    {".pub", "PUBF"},         {".py", "TEXT"},    {".qd3d", "3DMF"},    {".qt", "MooV"},
    {".r", "TEXT"},           {".ra", "PNRA"},    {".ram", "PNRA"},     {".rar", "RAR!"},
    {".rb", "TEXT"},          {".rez", "TEXT"},   {".rle", "BMPf"},     {".rm", "PNRM"},
    {".rmi", "Midi"},         {".rtf", "RTF "},   {".s", "TEXT"},       {".s3m", "S3M "},
    {".scpt", "osas"},        {".sd2", "Sd2f"},   {".sdp", "sdp "},     {".sea", "APPL"},
    {".sf", "IRCM"},          {".sfx", "APPL"},   {".sgi", "SGI "},     {".sgml", "TEXT"},
    {".sh", "TEXT"},          {".shar", "TEXT"},  {".shtml", "TEXT"},   {".sit", "SIT!"},
    {".sitx", "SITX"},        {".slk", "TEXT"},   {".smi", "TEXT"},     {".smil", "TEXT"},
    {".snd", "sfil"},         {".sty", "TEXT"},   {".suit", "FFIL"},    {".swf", "SWFL"},
    {".tab", "TEXT"},         {".tar", "TARF"},   {".targa", "TPIC"},   {".tcl", "TEXT"},
    {".tex", "TEXT"},         {".texi", "TEXT"},  {".texinfo", "TEXT"}, {".text", "TEXT"},
    {".tga", "TPIC"},         {".tgz", "Gzip"},   {".tif", "TIFF"},     {".tiff", "TIFF"},
    {".toast", "CDr3"},       {".tsv", "TEXT"},   {".txt", "TEXT"},     {".ul", "ULAW"},
    {".uu", "TEXT"},          {".uue", "TEXT"},   {".vcf", "TEXT"},     {".vfw", "VfW "},
    {".voc", "VOC "},         {".wav", "WAVE"},   {".wma", "WMA "},     {".wmf", "WMF "},
    {".wmv", "WMV "},         {".wri", "WDBN"},   {".wrl", "TEXT"},     {".xbm", "XBM "},
    {".xhtml", "TEXT"},       {".xls", "XLS8"},   {".xlw", "XLW8"},     {".xml", "TEXT"},
    {".xsl", "TEXT"},         {".y", "TEXT"},     {".z", "ZIVU"},       {".zip", "ZIP "},
    {".zoo", "Zoo "},
});

}  // namespace

std::span<const BuiltinFileType> BuiltinFileTypes() { return kFileTypes; }

}  // namespace tessary
