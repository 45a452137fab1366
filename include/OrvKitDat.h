#ifndef ORVKIT_DAT_H
#define ORVKIT_DAT_H

#include <OrvKitExport.h>
#include <VxSerialization.h>

#include <cstdint>
#include <string>
#include <vector>

// Records of the cloud service's answers and of the two request bodies.
//
// fromJson(body) decodes a response body (it ends at the first zero byte);
// it returns false when the body is not JSON or its top level is empty or of
// the wrong kind (object or array), and then changes nothing. A missing key
// gives the member's default unless noted otherwise; when an object repeats
// a key, the last value wins.
// serialize/unserialize write and read the members in declaration order; a
// list is its count (unsigned int) followed by its elements. unserialize
// trusts no count: a list ends where the archive's reads stop delivering,
// keeping the elements read whole.
// copyFrom copies a record of the same class and returns false otherwise.
namespace OrvKitDat {

class ORVKIT_EXPORT ResponseBase
{
public:
    virtual ~ResponseBase();
    virtual bool copyFrom(const ResponseBase* source);
};

// {"error": {"code": ..., "message": ...}}
class ORVKIT_EXPORT ErrorResponse : public ResponseBase
{
public:
    ~ErrorResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::string code;
    std::string message;
};

class ORVKIT_EXPORT AuthResponse : public ResponseBase
{
public:
    ~AuthResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::string accessToken;
    std::string refreshToken;
    uint32_t expiresIn = 0;
    // Seconds since the epoch, clamped into 0..4294967295.
    uint32_t expirationDate = 0;
    std::string role;
};

// A pair is set only when its object holds both "count" and "updatedAt";
// agreementUpdatedAt only when "agreement" holds "updatedAt". Otherwise the
// members keep their values.
class ORVKIT_EXPORT SummaryResponse : public ResponseBase
{
public:
    ~SummaryResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    uint32_t spotCount = 0;
    std::string spotUpdatedAt;
    uint32_t folderCount = 0;
    std::string folderUpdatedAt;
    uint32_t destinationCount = 0;
    std::string destinationUpdatedAt;
    uint32_t planCount = 0;
    std::string planUpdatedAt;
    std::string agreementUpdatedAt;
};

class ORVKIT_EXPORT CertificateResponse : public ResponseBase
{
public:
    ~CertificateResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::string caCertificatePem;
    std::string certificatePem;
    std::string privateKey;
};

class ORVKIT_EXPORT BookmarksSpotsResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT SpotsData
    {
    public:
        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;
        std::string folderId;
        double lon = 0.0;
        double lat = 0.0;
        std::string prefCode;
        std::string cityCode;
        std::string name;
        std::string yomi;
        std::string zipCode;
        std::string address;
        std::string tel;
        std::string memo;
        std::string url;
        uint32_t genreCodeL = 0;
        uint32_t genreCodeM = 0;
        uint32_t genreCodeS = 0;
        uint32_t genreCodeSS = 0;
        std::string genreName;
        std::string spotCode;
        uint32_t groupCode = 0;
        uint32_t chainCode = 0;
        uint32_t recordSeq = 0;
        std::string createdAt;
        std::string updatedAt;
    };

    ~BookmarksSpotsResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;
    uint32_t sort = 0;
    uint32_t order = 0;
    uint32_t number = 0;
    uint32_t position = 0;
    double lon = 0.0;
    double lat = 0.0;
    std::vector<SpotsData> spots;
};

class ORVKIT_EXPORT BookmarksSpotDetailResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT RoutePointData
    {
    public:
        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        std::string pstAttcode;
        uint32_t rspType = 0;
        uint32_t priority = 0;
        double lon = 0.0;
        double lat = 0.0;
    };

    ~BookmarksSpotDetailResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::string id;
    std::string folderId;
    double lon = 0.0;
    double lat = 0.0;
    std::string prefCode;
    std::string cityCode;
    std::string name;
    std::string yomi;
    std::string zipCode;
    std::string address;
    std::string tel;
    std::string memo;
    std::string url;
    uint32_t genreCodeL = 0;
    uint32_t genreCodeM = 0;
    uint32_t genreCodeS = 0;
    uint32_t genreCodeSS = 0;
    std::string genreName;
    std::string spotCode;
    uint32_t groupCode = 0;
    uint32_t chainCode = 0;
    uint32_t recordSeq = 0;
    uint32_t roadType = 0;
    std::string createdAt;
    std::string updatedAt;
    std::vector<RoutePointData> routePoints;
};

class ORVKIT_EXPORT BookmarksFoldersResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT FolderData
    {
    public:
        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;
        std::string name;
        std::string type;
        std::string createdAt;
        std::string updatedAt;
    };

    ~BookmarksFoldersResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;
    uint32_t sort = 0;
    uint32_t order = 0;
    uint32_t number = 0;
    uint32_t position = 0;
    std::vector<FolderData> folders;
};

// The body is a bare array; an empty array is a failed parse.
class ORVKIT_EXPORT BookmarksDestsResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT DestData
    {
    public:
        class ORVKIT_EXPORT RoutePointData
        {
        public:
            bool serialize(VxSerialization::Archive& archive) const;
            bool unserialize(VxSerialization::Archive& archive);

            std::string pstAttcode;
            uint32_t rspType = 0;
            uint32_t priority = 0;
            double lon = 0.0;
            double lat = 0.0;
        };

        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;
        double lon = 0.0;
        double lat = 0.0;
        std::string prefCode;
        std::string cityCode;
        std::string name;
        std::string yomi;
        std::string zipCode;
        std::string address;
        std::string tel;
        std::string memo;
        std::string url;
        uint32_t genreCodeL = 0;
        uint32_t genreCodeM = 0;
        uint32_t genreCodeS = 0;
        uint32_t genreCodeSS = 0;
        std::string genreName;
        std::string spotCode;
        uint32_t groupCode = 0;
        uint32_t chainCode = 0;
        uint32_t recordSeq = 0;
        uint32_t roadType = 0;
        std::string createdAt;
        std::string updatedAt;
        std::vector<RoutePointData> routePoints;
    };

    ~BookmarksDestsResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::vector<DestData> dests;
};

class ORVKIT_EXPORT PlansSummaryResponse : public ResponseBase
{
public:
    ~PlansSummaryResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    uint32_t all = 0;
    // One entry per plan, empty where a plan has no "startDateTime".
    std::vector<std::string> startDateTimes;
};

// The body is a bare array; an empty array is a failed parse. Flags such as
// share or startTimeIsFixed are JSON numbers: a JSON true reads as 0.
class ORVKIT_EXPORT PlansResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT PlanData
    {
    public:
        class ORVKIT_EXPORT PlanPointData
        {
        public:
            class ORVKIT_EXPORT RoutePointData
            {
            public:
                bool serialize(VxSerialization::Archive& archive) const;
                bool unserialize(VxSerialization::Archive& archive);

                std::string pstAttcode;
                uint32_t rspType = 0;
                uint32_t priority = 0;
                double lon = 0.0;
                double lat = 0.0;
            };

            bool serialize(VxSerialization::Archive& archive) const;
            bool unserialize(VxSerialization::Archive& archive);

            uint32_t order = 0;
            std::string name;
            std::string memo;
            double lon = 0.0;
            double lat = 0.0;
            std::string spotCode;
            uint32_t groupCode = 0;
            uint32_t chainCode = 0;
            uint32_t recordSeq = 0;
            double rspLon = 0.0;
            double rspLat = 0.0;
            uint32_t blankMinutes = 0;
            std::string startTime;
            uint32_t stayMinutes = 0;
            uint32_t startTimeIsFixed = 0;
            uint32_t roadType = 0;
            std::vector<RoutePointData> routePoints;
        };

        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        std::string id;
        std::string name;
        std::string memo;
        std::string baseDate;
        uint32_t share = 0;
        std::string way;
        uint32_t tollway = 0;
        uint32_t priority = 0;
        uint32_t ferries = 0;
        uint32_t cartype = 0;
        uint32_t smartIc = 0;
        uint32_t normalSpeed = 0;
        uint32_t highwaySpeed = 0;
        uint32_t tollwaySpeed = 0;
        uint32_t useETC = 0;
        std::string createdAt;
        std::string updatedAt;
        std::vector<PlanPointData> planpoints;
    };

    ~PlansResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::vector<PlanData> plans;
};

// Two levels, both under the key "item"; the archive holds the list before
// updatedAt.
class ORVKIT_EXPORT GenresResponse : public ResponseBase
{
public:
    class ORVKIT_EXPORT MainGenreData
    {
    public:
        class ORVKIT_EXPORT SubGenreData
        {
        public:
            bool serialize(VxSerialization::Archive& archive) const;
            bool unserialize(VxSerialization::Archive& archive);

            uint32_t pGenreKey = 0;
            uint32_t genreKey = 0;
            std::string name;
            std::string yomi;
            std::string treeFlag;
            uint32_t treeCode = 0;
        };

        bool serialize(VxSerialization::Archive& archive) const;
        bool unserialize(VxSerialization::Archive& archive);

        uint32_t pGenreKey = 0;
        uint32_t genreKey = 0;
        std::string name;
        std::string yomi;
        std::string treeFlag;
        uint32_t treeCode = 0;
        std::vector<SubGenreData> subGenres;
    };

    ~GenresResponse() override;
    bool fromJson(const std::vector<uint8_t>& body);
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    bool copyFrom(const ResponseBase* source) override;

    std::vector<MainGenreData> mainGenres;
    std::string updatedAt;
};

// Input of the device-certificate request.
class ORVKIT_EXPORT CertificateRequest
{
public:
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    // Replaces out with the request body. Texts are inserted unescaped.
    bool makeJson(std::vector<uint8_t>& out) const;

    std::string model;
    std::string deviceNo;
};

// One position report for the device shadow.
class ORVKIT_EXPORT CarPositions
{
public:
    bool serialize(VxSerialization::Archive& archive) const;
    bool unserialize(VxSerialization::Archive& archive);
    // Replaces out with the shadow update body. Texts are inserted unescaped.
    bool makeJson(std::vector<uint8_t>& out) const;

    std::string maker = "06";
    std::string model;
    std::string deviceNo;
    std::string type;
    double lon = 0.0;
    double lat = 0.0;
    std::string measuredAt;
    uint32_t direction = 0;
    uint32_t speed = 0;
    double elevation = 0.0;
    double accuracy = 0.0;
    uint32_t roadType = 0;
    bool accOff = false;
};

} // namespace OrvKitDat

#endif
