// Conversion of names between the encoding in which the server keeps them and the one that its clients use.
#pragma once

// Chooses the conversion: names are converted only where code page 932 goes with a codingFlag of 1 (the server keeps
// EUC-JP, the clients speak Shift-JIS).
void setUpConversion(int codepage, int codingFlag);

// Convert in place and return the text. A text that is not well formed in the encoding it comes from, that holds a
// character which the other one lacks, or that would grow (half-width katakana take two bytes in EUC-JP) is left
// unchanged as a whole: there is no room behind it, and half a conversion could not be undone.
char* serverToClient(char* text);
char* clientToServer(char* text);
