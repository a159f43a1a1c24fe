// Vocabulary: the words of which generated assets are made, by country and by kind of content.
//
// Texts are UTF-8, as authors write them. Constant data; nothing here depends on a seed.

#pragma once

#include <cstdint>

/// What the nouns of a country are grouped by.
enum class NounGroup : std::uint8_t { Vehicle, Track, Building, Scenery, Session };
inline constexpr int kNounGroups = 5;

/// A kind of content: its class codes and where the older layout kept it.
struct AssetKind {
  std::uint32_t weight;  ///< share among all kinds
  const char* category;
  const char* legacyFolder;
  const char* keywords;
  NounGroup nouns;
  std::uint32_t largestSize;  ///< bytes
};

inline constexpr AssetKind kAssetKinds[] = {
    {9, "TR;TV;LOC;DIES", "trains/custom/diesel", "locomotive;diesel;mainline", NounGroup::Vehicle,
     24000000},
    {5, "TR;TV;LOC;ELEC", "trains/custom/electric", "locomotive;electric;pantograph",
     NounGroup::Vehicle, 28000000},
    {4, "TR;TV;LOC;STEM", "trains/custom/steam", "locomotive;steam;tender;heritage",
     NounGroup::Vehicle, 40000000},
    {10, "TR;TV;FRT;HOPP", "trains/custom/freight", "wagon;freight;hopper;bulk", NounGroup::Vehicle,
     9000000},
    {8, "TR;TV;PAX;SEAT", "trains/custom/coaches", "coach;passenger;interior", NounGroup::Vehicle,
     12000000},
    {3, "TR;CMP;BOGY", "trains/bogeys", "bogie;wheels", NounGroup::Vehicle, 900000},
    {6, "TK", "world/custom/track", "track;rails;sleepers;ballast", NounGroup::Track, 1500000},
    {3, "FIXD;SWT", "world/custom/fixedtrack", "turnout;fixed;junction", NounGroup::Track, 2500000},
    {2, "SPLN;BRG", "world/custom/bridges", "bridge;viaduct;steel", NounGroup::Track, 6000000},
    {4, "TO;CAT", "world/custom/trackside", "catenary;mast;wire;electric", NounGroup::Track,
     800000},
    {9, "BD;RES", "world/custom/buildings", "house;residential;town", NounGroup::Building, 5000000},
    {5, "BD;STA;NACT", "world/custom/stations", "station;platform;canopy", NounGroup::Building,
     9000000},
    {4, "BD;IND;ACTV;FIXD", "world/custom/industries", "industry;loading;interactive",
     NounGroup::Building, 15000000},
    {12, "SY;SCEN", "world/custom/scenery", "scenery;detail", NounGroup::Scenery, 1200000},
    {8, "FL;SCEN", "world/custom/foliage", "tree;bush;foliage;summer", NounGroup::Scenery, 700000},
    {5, "TX;ENV;GRND", "world/custom/ground", "texture;ground;grass;seasonal", NounGroup::Scenery,
     600000},
    {2, "RT", "world/custom/maps", "route;map;landscape", NounGroup::Session, 180000000},
    {2, "SS", "world/custom/sessions", "session;scenario;timetable", NounGroup::Session, 3000000},
};

/// A country: its region code, and what its authors call things.
struct Country {
  std::uint32_t weight;
  const char* code;
  const char* places[6];
  const char* operators[4];
  const char* nouns[kNounGroups][4];
};

inline constexpr Country kCountries[] = {
    {22,
     "UK",
     {"Exeter St Davids", "Carlisle", "Blea Moor", "Llandudno", "Kyle of Lochalsh", "Didcot"},
     {"Northern Section", "Western Region", "Railfreight", "Inter-City"},
     {{"Brake Van", "Class 37 Diesel", "Mark 1 Coach", "Mineral Wagon"},
      {"Bullhead Track", "Plate Girder Bridge", "Curved Turnout", "Colour Light Mast"},
      {"Terraced Houses", "Signal Box", "Goods Shed", "Island Platform"},
      {"Dry Stone Wall", "Hawthorn Hedge", "Moorland Grass", "Milk Churns"},
      {"Branch Line Morning", "Freight Over the Pass", "Summer Saturday", "Night Mail"}}},
    {20,
     "US",
     {"Tehachapi", "Horseshoe Curve", "Galesburg", "Sacramento", "Deer Lodge", "Roanoke"},
     {"Union Division", "Great Lakes Lines", "Pacific Coast", "Prairie & Southern"},
     {{"2-8-0 Consolidation", "GP Road Switcher", "Covered Hopper", "Cupola Caboose"},
      {"Jointed Rail 132lb", "Trestle Bridge", "No. 8 Turnout", "Searchlight Signal"},
      {"Grain Elevator", "Depot", "Roundhouse", "Main Street Store"},
      {"Sagebrush", "Utility Pole", "Chain Link Fence", "Cottonwood Tree"},
      {"Helper Service", "Coal Drag", "Local Switching", "Overnight Hotshot"}}},
    {18,
     "DE",
     {"Altenbeken", "Köln Süd", "München Ost", "Görlitz", "Würzburg", "Rübeland"},
     {"DRG", "Bundesbahn", "Privatbahn", "Harzbahn"},
     {{"Güterwagen Gms 54", "Diesellok V 200", "Silberling Steuerwagen", "Kübelwagen"},
      {"Gleis K-Schwelle", "Fachwerkbrücke", "Bogenweiche 190-1:9", "Formhauptsignal"},
      {"Empfangsgebäude", "Fachwerkhaus", "Stellwerk", "Güterschuppen"},
      {"Fichte, groß", "Jägerzaun", "Kopfsteinpflaster", "Bäume im Herbst"},
      {"Frühzug nach Norden", "Übergabe im Nebel", "Rangieren am Abend", "Sonderfahrt"}}},
    {10,
     "FR",
     {"Évry", "Besançon", "Saint-Étienne", "Culoz", "Mâcon", "Modane"},
     {"Région Est", "Étoile du Nord", "Sud-Est", "Compagnie du Midi"},
     {{"Fourgon à bagages", "Locomotive à vapeur 141", "Wagon trémie", "Voiture Corail"},
      {"Voie unifiée", "Pont à poutres", "Aiguillage symétrique", "Caténaire 1500 V"},
      {"Gare de campagne", "Château d'eau", "Poste d'aiguillage", "Halle à marchandises"},
      {"Platane taillé", "Haie fleurie", "Pré d'été", "Poteau télégraphique"},
      {"Omnibus du matin", "Train de nuit", "Fret de l'hiver", "Journée à la dépôt"}}},
    {8,
     "PL",
     {"Łódź Kaliska", "Wrocław", "Kraków Płaszów", "Gdańsk", "Zagórz", "Toruń"},
     {"PKP", "Kolej Śląska", "Wąskotorówka", "Pomorze"},
     {{"Parowóz Ty2", "Lokomotywa EU07", "Wagon węglarka", "Wagon piętrowy"},
      {"Tor bezstykowy", "Most kratownicowy", "Rozjazd łukowy", "Semafor kształtowy"},
      {"Dworzec małej stacji", "Nastawnia", "Wieża ciśnień", "Dom przy torach"},
      {"Świerk zaśnieżony", "Płot drewniany", "Łąka", "Krzak głogu"},
      {"Poranek na węźle", "Pociąg towarowy", "Zimowa służba", "Osobowy do Łodzi"}}},
    {7,
     "CZ",
     {"Česká Třebová", "Děčín", "Jeseník", "Plzeň", "Žďár nad Sázavou", "Brno"},
     {"ČSD", "Místní dráha", "Posázaví", "Vysočina"},
     {{"Motorový vůz M 152", "Parní lokomotiva 475", "Výsypný vůz", "Nákladní vůz Zts"},
      {"Kolej R65", "Ocelový most", "Výhybka č. 12", "Vjezdové návěstidlo"},
      {"Výpravní budova", "Strážní domek", "Vodárna", "Skladiště"},
      {"Bříza", "Dřevěný plot", "Louka v létě", "Telegrafní sloup"},
      {"Ranní osobák", "Manipulák", "Noční rychlík", "Sobota na lokálce"}}},
    {8,
     "RU",
     {"Тайга", "Бологое", "Слюдянка", "Орёл", "Рыбинск", "Тында"},
     {"Северная ж.д.", "Депо Сортировочная", "МПС", "Узкоколейка"},
     {{"Паровоз Эр", "Тепловоз 2ТЭ10", "Полувагон", "Пассажирский вагон"},
      {"Путь Р65", "Мост ферменный", "Стрелка 1/11", "Светофор мачтовый"},
      {"Вокзал", "Дом путевого обходчика", "Водонапорная башня", "Пакгауз"},
      {"Берёза", "Забор деревянный", "Трава летняя", "Столб связи"},
      {"Утро на перегоне", "Тяжёлый состав", "Ночной экспресс", "Манёвры"}}},
    {7,
     "JP",
     {"横川", "Hakone-Yumoto", "直江津", "Kushiro", "木曽福島", "Takayama"},
     {"国鉄", "Seibu Line", "私鉄", "Hokuriku"},
     {{"客車 12系", "D51 Steam", "ワム80000", "Kiha 40 Railcar"},
      {"狭軌線路", "Deck Girder Bridge", "分岐器", "信号機"},
      {"木造駅舎", "Signal House", "Station Canopy", "給水塔"},
      {"桜", "Bamboo", "Rice Paddy Edge", "電柱"},
      {"朝の通勤", "Mountain Local", "夜行列車", "Freight to the Coast"}}},
};

inline constexpr const char* kEras[] = {"1890s;1900s",       "1920s;1930s", "1950s",
                                        "1950s;1960s;1970s", "1970s;1980s", "1980s;1990s",
                                        "1990s;2000s",       "2010s",       ""};

/// Sentences of descriptions: %p stands for a place, %o for an operator, %n for a number.
inline constexpr const char* kSentences[] = {
    "Built for the %o in the works near %p and used until the line closed.",
    "Includes night textures, four levels of detail and a low polygon distant mesh.",
    "Please read the notes in the folder before you use it on a steep gradient.",
    "Modelled from drawings of %n and from photographs taken around %p.",
    "The paint scheme is that of the %o; worn and clean versions are available.",
    "Thanks go to everyone at %p who measured, photographed and tested it.",
    "Works best with the matching pieces of the same set, which share its textures.",
    "Numbers change at random between %n and the end of the batch.",
    "This version corrects the shadow, the attachment points and a missing texture.",
    "Freely usable in any route or session; please do not change and upload it again.",
    "Seasonal variants follow the date of the session, with snow above the tree line.",
    "Seen every day between %p and the coast, mostly on mixed goods trains.",
};
