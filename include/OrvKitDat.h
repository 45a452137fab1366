#ifndef ORVKIT_DAT_H
#define ORVKIT_DAT_H

#include <OrvKitExport.h>
#include <VxSerialization.h>

#include <cstdint>
#include <string>
#include <vector>

/// @file
/// The records that decode the cloud service's answers and encode the two
/// request bodies.
///
/// VxSerialization.h, the archive these records write and read, belongs to
/// the platform framework: on the head unit it comes with the framework's
/// headers; the host build installs its stand-in beside this header
/// (include/OrvKit/). A position report (CMD_UPDATE_SHADOW) is an archived
/// CarPositions, so every application that reports positions includes it.

/// Records of the cloud service's answers and of the two request bodies.
///
/// fromJson(body) decodes a response body (it ends at the first zero byte);
/// it returns false when the body is not JSON or its top level is empty or of
/// the wrong kind (object or array), and then changes nothing. A missing key
/// gives the member's default unless noted otherwise; when an object repeats
/// a key, the last value wins.
/// serialize/unserialize write and read the members in declaration order; a
/// list is its count (unsigned int) followed by its elements. unserialize
/// trusts no count: a list ends where the archive's reads stop delivering,
/// keeping the elements read whole.
/// copyFrom copies a record of the same class and returns false otherwise.
namespace OrvKitDat {

/// Root of the response records.
class ORVKIT_EXPORT ResponseBase
{
public:
    /// Destroys the record.
    virtual ~ResponseBase();
    /// Copies source if it is of this class; false otherwise.
    virtual bool copyFrom(const ResponseBase* source);
};

/// The error body of a failed request: {"error": {"code": ..., "message": ...}}.
class ORVKIT_EXPORT ErrorResponse : public ResponseBase
{
public:
    /// Destroys the record.
    ~ErrorResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::string code;  ///< Server code text, e.g. "E4041001" ("code" in "error").
    std::string message;  ///< Server message text ("message" in "error").
};

/// The sign-in server's token answer (body of MSG_LOGIN_RESULT).
class ORVKIT_EXPORT AuthResponse : public ResponseBase
{
public:
    /// Destroys the record.
    ~AuthResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::string accessToken;  ///< Access token ("access_token").
    std::string refreshToken;  ///< Refresh token ("refresh_token").
    uint32_t expiresIn = 0;  ///< Lifetime of the access token in seconds ("expires_in").
    /// Expiry in seconds since the epoch, clamped into 0..4294967295
    /// ("expiration_date").
    uint32_t expirationDate = 0;
    std::string role;  ///< Role of the account ("role").
};

/// A pair is set only when its object holds both "count" and "updatedAt";
/// agreementUpdatedAt only when "agreement" holds "updatedAt". Otherwise the
/// members keep their values.
class ORVKIT_EXPORT SummaryResponse : public ResponseBase
{
public:
    /// Destroys the record.
    ~SummaryResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    uint32_t spotCount = 0;  ///< Number of spots ("count" in "spot").
    std::string spotUpdatedAt;  ///< Last change of the spots ("updatedAt" in "spot").
    uint32_t folderCount = 0;  ///< Number of folders ("count" in "folder").
    std::string folderUpdatedAt;  ///< Last change of the folders ("updatedAt" in "folder").
    uint32_t destinationCount = 0;  ///< Number of destinations ("count" in "destination").
    std::string destinationUpdatedAt;  ///< Last change of the destinations ("updatedAt" in "destination").
    uint32_t planCount = 0;  ///< Number of drive plans ("count" in "plan").
    std::string planUpdatedAt;  ///< Last change of the drive plans ("updatedAt" in "plan").
    std::string agreementUpdatedAt;  ///< Last change of the terms of use ("updatedAt" in "agreement").
};

/// The device certificate answer (body of MSG_CERTIFICATE_RESULT). The texts are PEM blocks as sent; the record does not check them.
class ORVKIT_EXPORT CertificateResponse : public ResponseBase
{
public:
    /// Destroys the record.
    ~CertificateResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::string caCertificatePem;  ///< CA certificate, PEM ("caCertificatePem").
    std::string certificatePem;  ///< Device certificate, PEM ("certificatePem").
    std::string privateKey;  ///< Private key of the device certificate, PEM ("privateKey").
};

/// The user's bookmarked spots (body of MSG_SPOTS_RESULT).
class ORVKIT_EXPORT BookmarksSpotsResponse : public ResponseBase
{
public:
    /// One bookmarked spot.
    class ORVKIT_EXPORT SpotsData
    {
    public:
        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;  ///< Server identifier ("id").
        std::string folderId;  ///< Identifier of the folder holding the spot ("folderId").
        double lon = 0.0;  ///< Longitude in degrees ("lon").
        double lat = 0.0;  ///< Latitude in degrees ("lat").
        std::string prefCode;  ///< Prefecture code ("prefCode").
        std::string cityCode;  ///< City code ("cityCode").
        std::string name;  ///< Name ("name").
        std::string yomi;  ///< Phonetic reading of the name ("yomi").
        std::string zipCode;  ///< Postal code ("zipCode").
        std::string address;  ///< Address ("address").
        std::string tel;  ///< Telephone number ("tel").
        std::string memo;  ///< The user's note ("memo").
        std::string url;  ///< Web address ("url").
        uint32_t genreCodeL = 0;  ///< Genre code, large class ("genreCodeL").
        uint32_t genreCodeM = 0;  ///< Genre code, middle class ("genreCodeM").
        uint32_t genreCodeS = 0;  ///< Genre code, small class ("genreCodeS").
        uint32_t genreCodeSS = 0;  ///< Genre code, smallest class ("genreCodeSS").
        std::string genreName;  ///< Genre name ("genreName").
        std::string spotCode;  ///< Spot code of the map data ("spotCode").
        uint32_t groupCode = 0;  ///< Group code of the map data ("groupCode").
        uint32_t chainCode = 0;  ///< Chain code of the map data ("chainCode").
        uint32_t recordSeq = 0;  ///< Record number in the map data ("recordSeq").
        std::string createdAt;  ///< Creation time ("createdAt").
        std::string updatedAt;  ///< Last change ("updatedAt").
    };

    /// Destroys the record.
    ~BookmarksSpotsResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;  ///< Number of entries on the server ("all").
    /// Sort key of the list, as asked ("sort"): 0 last change, 1 creation
    /// time, 2 name (spots: its reading), 3 distance (spots only).
    uint32_t sort = 0;
    uint32_t order = 0;  ///< Sort order, as asked ("order"): 0 ascending, 1 descending.
    uint32_t number = 0;  ///< Number of entries in this answer ("number").
    uint32_t position = 0;  ///< Position flag of the request ("position").
    double lon = 0.0;  ///< Longitude of the request's position in degrees ("lon").
    double lat = 0.0;  ///< Latitude of the request's position in degrees ("lat").
    std::vector<SpotsData> spots;  ///< The spots, in the server's order ("spots").
};

/// One spot in detail, with its route points.
class ORVKIT_EXPORT BookmarksSpotDetailResponse : public ResponseBase
{
public:
    /// One route point of the way to a place.
    class ORVKIT_EXPORT RoutePointData
    {
    public:
        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        std::string pstAttcode;  ///< Attribute code of the point ("pstAttcode").
        uint32_t rspType = 0;  ///< Route point type ("rspType").
        uint32_t priority = 0;  ///< Priority ("priority").
        double lon = 0.0;  ///< Longitude in degrees ("lon").
        double lat = 0.0;  ///< Latitude in degrees ("lat").
    };

    /// Destroys the record.
    ~BookmarksSpotDetailResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::string id;  ///< Server identifier ("id").
    std::string folderId;  ///< Identifier of the folder holding the spot ("folderId").
    double lon = 0.0;  ///< Longitude in degrees ("lon").
    double lat = 0.0;  ///< Latitude in degrees ("lat").
    std::string prefCode;  ///< Prefecture code ("prefCode").
    std::string cityCode;  ///< City code ("cityCode").
    std::string name;  ///< Name ("name").
    std::string yomi;  ///< Phonetic reading of the name ("yomi").
    std::string zipCode;  ///< Postal code ("zipCode").
    std::string address;  ///< Address ("address").
    std::string tel;  ///< Telephone number ("tel").
    std::string memo;  ///< The user's note ("memo").
    std::string url;  ///< Web address ("url").
    uint32_t genreCodeL = 0;  ///< Genre code, large class ("genreCodeL").
    uint32_t genreCodeM = 0;  ///< Genre code, middle class ("genreCodeM").
    uint32_t genreCodeS = 0;  ///< Genre code, small class ("genreCodeS").
    uint32_t genreCodeSS = 0;  ///< Genre code, smallest class ("genreCodeSS").
    std::string genreName;  ///< Genre name ("genreName").
    std::string spotCode;  ///< Spot code of the map data ("spotCode").
    uint32_t groupCode = 0;  ///< Group code of the map data ("groupCode").
    uint32_t chainCode = 0;  ///< Chain code of the map data ("chainCode").
    uint32_t recordSeq = 0;  ///< Record number in the map data ("recordSeq").
    uint32_t roadType = 0;  ///< Road type ("roadType").
    std::string createdAt;  ///< Creation time ("createdAt").
    std::string updatedAt;  ///< Last change ("updatedAt").
    std::vector<RoutePointData> routePoints;  ///< Route points, in the server's order ("routePoints").
};

/// The user's bookmark folders (body of MSG_FOLDERS_RESULT).
class ORVKIT_EXPORT BookmarksFoldersResponse : public ResponseBase
{
public:
    /// One bookmark folder.
    class ORVKIT_EXPORT FolderData
    {
    public:
        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;  ///< Server identifier ("id").
        std::string name;  ///< Name ("name").
        std::string type;  ///< Folder type ("type").
        std::string createdAt;  ///< Creation time ("createdAt").
        std::string updatedAt;  ///< Last change ("updatedAt").
    };

    /// Destroys the record.
    ~BookmarksFoldersResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;  ///< Number of entries on the server ("all").
    /// Sort key of the list, as asked ("sort"): 0 last change, 1 creation
    /// time, 2 name (spots: its reading), 3 distance (spots only).
    uint32_t sort = 0;
    uint32_t order = 0;  ///< Sort order, as asked ("order"): 0 ascending, 1 descending.
    uint32_t number = 0;  ///< Number of entries in this answer ("number").
    uint32_t position = 0;  ///< Position flag of the request ("position").
    std::vector<FolderData> folders;  ///< The folders, in the server's order ("folders").
};

/// The body is a bare array; an empty array is a failed parse.
class ORVKIT_EXPORT BookmarksDestsResponse : public ResponseBase
{
public:
    /// One destination.
    class ORVKIT_EXPORT DestData
    {
    public:
        /// One route point of the way to a place.
        class ORVKIT_EXPORT RoutePointData
        {
        public:
            /// Appends the members to the archive. Returns true.
            bool serialize(VxSerialization::Archive& archive) const;
            /// Reads the members back from the archive. Returns true.
            bool unserialize(VxSerialization::Archive& archive);

            std::string pstAttcode;  ///< Attribute code of the point ("pstAttcode").
            uint32_t rspType = 0;  ///< Route point type ("rspType").
            uint32_t priority = 0;  ///< Priority ("priority").
            double lon = 0.0;  ///< Longitude in degrees ("lon").
            double lat = 0.0;  ///< Latitude in degrees ("lat").
        };

        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;  ///< Server identifier ("id").
        double lon = 0.0;  ///< Longitude in degrees ("lon").
        double lat = 0.0;  ///< Latitude in degrees ("lat").
        std::string prefCode;  ///< Prefecture code ("prefCode").
        std::string cityCode;  ///< City code ("cityCode").
        std::string name;  ///< Name ("name").
        std::string yomi;  ///< Phonetic reading of the name ("yomi").
        std::string zipCode;  ///< Postal code ("zipCode").
        std::string address;  ///< Address ("address").
        std::string tel;  ///< Telephone number ("tel").
        std::string memo;  ///< The user's note ("memo").
        std::string url;  ///< Web address ("url").
        uint32_t genreCodeL = 0;  ///< Genre code, large class ("genreCodeL").
        uint32_t genreCodeM = 0;  ///< Genre code, middle class ("genreCodeM").
        uint32_t genreCodeS = 0;  ///< Genre code, small class ("genreCodeS").
        uint32_t genreCodeSS = 0;  ///< Genre code, smallest class ("genreCodeSS").
        std::string genreName;  ///< Genre name ("genreName").
        std::string spotCode;  ///< Spot code of the map data ("spotCode").
        uint32_t groupCode = 0;  ///< Group code of the map data ("groupCode").
        uint32_t chainCode = 0;  ///< Chain code of the map data ("chainCode").
        uint32_t recordSeq = 0;  ///< Record number in the map data ("recordSeq").
        uint32_t roadType = 0;  ///< Road type ("roadType").
        std::string createdAt;  ///< Creation time ("createdAt").
        std::string updatedAt;  ///< Last change ("updatedAt").
        std::vector<RoutePointData> routePoints;  ///< Route points, in the server's order ("routePoints").
    };

    /// Destroys the record.
    ~BookmarksDestsResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::vector<DestData> dests;  ///< The destinations, in the server's order (the body's array).
};

/// Start times of the user's drive plans.
class ORVKIT_EXPORT PlansSummaryResponse : public ResponseBase
{
public:
    /// Destroys the record.
    ~PlansSummaryResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;  ///< Number of plans ("all").
    /// One entry per plan, empty where a plan has no "startDateTime".
    std::vector<std::string> startDateTimes;
};

/// The body is a bare array; an empty array is a failed parse. Flags such as
/// share or startTimeIsFixed are JSON numbers: a JSON true reads as 0.
class ORVKIT_EXPORT PlansResponse : public ResponseBase
{
public:
    /// One drive plan: its route settings and its stops.
    class ORVKIT_EXPORT PlanData
    {
    public:
        /// One stop of a drive plan.
        class ORVKIT_EXPORT PlanPointData
        {
        public:
            /// One route point of the way to a place.
            class ORVKIT_EXPORT RoutePointData
            {
            public:
                /// Appends the members to the archive. Returns true.
                bool serialize(VxSerialization::Archive& archive) const;
                /// Reads the members back from the archive. Returns true.
                bool unserialize(VxSerialization::Archive& archive);

                std::string pstAttcode;  ///< Attribute code of the point ("pstAttcode").
                uint32_t rspType = 0;  ///< Route point type ("rspType").
                uint32_t priority = 0;  ///< Priority ("priority").
                double lon = 0.0;  ///< Longitude in degrees ("lon").
                double lat = 0.0;  ///< Latitude in degrees ("lat").
            };

            /// Appends the members to the archive. Returns true.
            bool serialize(VxSerialization::Archive& archive) const;
            /// Reads the members back from the archive. Returns true.
            bool unserialize(VxSerialization::Archive& archive);

            uint32_t order = 0;  ///< Sort order ("order").
            std::string name;  ///< Name ("name").
            std::string memo;  ///< The user's note ("memo").
            double lon = 0.0;  ///< Longitude in degrees ("lon").
            double lat = 0.0;  ///< Latitude in degrees ("lat").
            std::string spotCode;  ///< Spot code of the map data ("spotCode").
            uint32_t groupCode = 0;  ///< Group code of the map data ("groupCode").
            uint32_t chainCode = 0;  ///< Chain code of the map data ("chainCode").
            uint32_t recordSeq = 0;  ///< Record number in the map data ("recordSeq").
            double rspLon = 0.0;  ///< Longitude of the stop's route point in degrees ("rspLon").
            double rspLat = 0.0;  ///< Latitude of the stop's route point in degrees ("rspLat").
            uint32_t blankMinutes = 0;  ///< Minutes left free before the stop ("blankMinutes").
            std::string startTime;  ///< Start time at the stop ("startTime").
            uint32_t stayMinutes = 0;  ///< Minutes spent at the stop ("stayMinutes").
            uint32_t startTimeIsFixed = 0;  ///< Whether the start time is fixed, as a number ("startTimeIsFixed").
            uint32_t roadType = 0;  ///< Road type ("roadType").
            std::vector<RoutePointData> routePoints;  ///< Route points, in the server's order ("routePoints").
        };

        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;  ///< Server identifier ("id").
        std::string name;  ///< Name ("name").
        std::string memo;  ///< The user's note ("memo").
        std::string baseDate;  ///< Date of the trip ("baseDate").
        uint32_t share = 0;  ///< Sharing flag as a number ("share").
        std::string way;  ///< Route kind ("way").
        uint32_t tollway = 0;  ///< Toll road setting ("tollway").
        uint32_t priority = 0;  ///< Priority ("priority").
        uint32_t ferries = 0;  ///< Ferry setting ("ferries").
        uint32_t cartype = 0;  ///< Vehicle type ("cartype").
        uint32_t smartIc = 0;  ///< Smart interchange setting ("smartIc").
        uint32_t normalSpeed = 0;  ///< Speed on ordinary roads ("normalSpeed").
        uint32_t highwaySpeed = 0;  ///< Speed on highways ("highwaySpeed").
        uint32_t tollwaySpeed = 0;  ///< Speed on toll roads ("tollwaySpeed").
        uint32_t useETC = 0;  ///< Electronic toll setting ("useETC").
        std::string createdAt;  ///< Creation time ("createdAt").
        std::string updatedAt;  ///< Last change ("updatedAt").
        std::vector<PlanPointData> planpoints;  ///< The stops, in order ("planpoints").
    };

    /// Destroys the record.
    ~PlansResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::vector<PlanData> plans;  ///< The plans, in the server's order (the body's array).
};

/// Two levels, both under the key "item"; the archive holds the list before
/// updatedAt.
class ORVKIT_EXPORT GenresResponse : public ResponseBase
{
public:
    /// One main genre with its sub-genres.
    class ORVKIT_EXPORT MainGenreData
    {
    public:
        /// One sub-genre.
        class ORVKIT_EXPORT SubGenreData
        {
        public:
            /// Appends the members to the archive. Returns true.
            bool serialize(VxSerialization::Archive& archive) const;
            /// Reads the members back from the archive. Returns true.
            bool unserialize(VxSerialization::Archive& archive);

            uint32_t pGenreKey = 0;  ///< Key of the parent genre ("p_genre_key").
            uint32_t genreKey = 0;  ///< Key of the genre ("genre_key").
            std::string name;  ///< Name ("name").
            std::string yomi;  ///< Phonetic reading of the name ("yomi").
            std::string treeFlag;  ///< Tree flag, as text ("tree_flag").
            uint32_t treeCode = 0;  ///< Tree code, as a number ("tree_code").
        };

        /// Appends the members to the archive. Returns true.
        bool serialize(VxSerialization::Archive& archive) const;
        /// Reads the members back from the archive. Returns true.
        bool unserialize(VxSerialization::Archive& archive);

        uint32_t pGenreKey = 0;  ///< Key of the parent genre ("p_genre_key").
        uint32_t genreKey = 0;  ///< Key of the genre ("genre_key").
        std::string name;  ///< Name ("name").
        std::string yomi;  ///< Phonetic reading of the name ("yomi").
        std::string treeFlag;  ///< Tree flag, as text ("tree_flag").
        uint32_t treeCode = 0;  ///< Tree code, as a number ("tree_code").
        std::vector<SubGenreData> subGenres;  ///< Sub-genres, in the server's order ("item" inside the main genre).
    };

    /// Destroys the record.
    ~GenresResponse() override;
    /// Decodes a response body; false when it is not of this record's shape.
    bool fromJson(const std::vector<uint8_t>& body);
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Copies source if it is of this class; false otherwise.
    bool copyFrom(const ResponseBase* source) override;

    std::vector<MainGenreData> mainGenres;  ///< Main genres, in the server's order ("item").
    std::string updatedAt;  ///< Last change ("updatedAt").
};

/// Input of the device-certificate request. The kit fills it itself from the
/// login's model and device number; an application has no use for it: the
/// bytes of CMD_GET_CERTIFICATE are not read (yet at least one must be sent,
/// OrvKitCommands::noParameters()).
class ORVKIT_EXPORT CertificateRequest
{
public:
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Replaces out with the request body. Texts are inserted unescaped.
    bool makeJson(std::vector<uint8_t>& out) const;

    std::string model;  ///< Model of the head unit ("model" of the body).
    std::string deviceNo;  ///< Device number of the head unit ("deviceNo" of the body).
};

/// One position report for the device shadow: CMD_UPDATE_SHADOW carries it
/// written into a VxSerialization::Archive. The kit replaces maker, model
/// and deviceNo with the identity of the login (the shadow belongs to that
/// device); the other members are sent as they are.
class ORVKIT_EXPORT CarPositions
{
public:
    /// Appends the members to the archive. Returns true.
    bool serialize(VxSerialization::Archive& archive) const;
    /// Reads the members back from the archive. Returns true.
    bool unserialize(VxSerialization::Archive& archive);
    /// Replaces out with the shadow update body. Texts are inserted unescaped.
    bool makeJson(std::vector<uint8_t>& out) const;

    std::string maker = "06";  ///< Maker code ("maker"); the kit sends the login's maker code instead.
    std::string model;  ///< Model of the head unit ("model"); the kit sends the login's model instead.
    std::string deviceNo;  ///< Device number ("deviceNo"); the kit sends the login's device number instead.
    /// Kind of report ("type"), a text the kit sends unread and unchecked;
    /// orvkit-cli sends "1".
    std::string type;
    double lon = 0.0;  ///< Longitude in degrees, written with twelve decimals ("lon").
    double lat = 0.0;  ///< Latitude in degrees, written with twelve decimals ("lat").
    /// Time of the measurement ("measuredAt"), ISO 8601 in UTC:
    /// "2024-06-15T00:30:00Z". Inserted into the JSON body unescaped.
    std::string measuredAt;
    uint32_t direction = 0;  ///< Heading ("direction").
    uint32_t speed = 0;  ///< Speed ("speed").
    double elevation = 0.0;  ///< Elevation, written with two decimals ("elevation").
    double accuracy = 0.0;  ///< Accuracy, written with one decimal ("accuracy").
    uint32_t roadType = 0;  ///< Road type ("roadType").
    bool accOff = false;  ///< Whether the ignition is off ("accOff", a JSON boolean).
};

} // namespace OrvKitDat

#endif
