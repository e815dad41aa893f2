#pragma once
// Plugs the readers of every asset chunk into the chunk load (OPTN, LANG, EXTN, SOND, AGRP, AUDO,
// SPRT, BGND, PATH, SCPT, SHDR, FONT, TMLN, TAGS, FEDS, TGIN, TXTR, EMBI), adds the hook that
// empties their tables when a load starts, the fallback-texture lookup after the walk and the
// batcher's texture resolver. OPTN also hands the window its cursor, Alt+Enter and focus options
// and its colour.
// Call once before LoadGameData; calling again after the loader's readers were cleared installs
// them anew.
void Assets_InstallReaders();
// Empties every asset table, the texture table and the texture requests.
void Assets_ClearTables();
