#include <VXViewer/scene/SceneDocument.h>

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneEdits.h>

namespace VX
{

/// A scene that was opened and is taken back takes its file along, or the next one would be saved over it.
class OpenSceneStep final : public HistoryAction
{
public:
    OpenSceneStep( SceneDocument& document, std::shared_ptr<HistoryAction> addition )
        : document_( document )
        , addition_( std::move( addition ) )
        , file_( document.file() )
    {
    }
    [[nodiscard]] std::string name() const override { return addition_->name(); }
    void action( Type type ) override
    {
        addition_->action( type );
        document_.setFile( type == Type::Redo ? file_ : std::filesystem::path() );
    }

private:
    SceneDocument& document_;
    std::shared_ptr<HistoryAction> addition_;
    std::filesystem::path file_;
};

bool SceneDocument::isSceneFile( const std::filesystem::path& file )
{
    return toLower( utf8string( file.extension() ) ) == ".vxu";
}

SceneDocument::SceneDocument( Viewer& viewer )
    : viewer_( viewer )
    , replaced_( viewer.historyReplacedSignal.connect( [this] { watch_(); } ) )
    , closed_( viewer.sceneClosedSignal.connect( [this] { setFile( {} ); } ) )
{
    watch_();
}

SceneDocument& sceneDocument()
{
    // Never destroyed, as the viewer.
    static auto* sDocument = new SceneDocument( getViewerInstance() );
    return *sDocument;
}

void SceneDocument::setFile( std::filesystem::path file )
{
    file_ = std::move( file );
    if ( const auto& title = viewer_.viewerTitle() )
        title->setSceneName( utf8string( file_.filename() ) );
}

bool SceneDocument::isSaved() const
{
    const auto& history = viewer_.getHistoryStore();
    return !history || history->isSaved();
}

tl::expected<void, std::string> SceneDocument::save( const std::filesystem::path& file )
{
    if ( auto saved = saveVxu( file, viewer_.sceneRoot().children() ); !saved )
        return saved;
    setFile( file );
    if ( const auto& history = viewer_.getHistoryStore() )
        history->markSaved();
    savedSignal( file );
    return {};
}

void SceneDocument::open( const std::filesystem::path& file, const Objects& objects )
{
    clear();
    setFile( file );
    auto step = std::make_shared<OpenSceneStep>( *this, SceneEdits::addStep( "Open File", objects ) );
    if ( const auto& history = viewer_.getHistoryStore() )
        history->appendOpening( std::move( step ) );
}

void SceneDocument::clear()
{
    if ( const auto& history = viewer_.getHistoryStore() )
        history->clear();
    auto& root = viewer_.sceneRoot();
    while ( !root.children().empty() )
        root.children().back()->detach();
    setFile( {} );
}

void SceneDocument::watch_()
{
    changes_.disconnect();
    const auto show = [this]
    {
        if ( const auto& title = viewer_.viewerTitle() )
            title->setUnsaved( !isSaved() );
    };
    if ( const auto& history = viewer_.getHistoryStore() )
        changes_ =
            history->changedSignal.connect( [show]( const HistoryStore&, HistoryStore::ChangeType ) { show(); } );
    show();
}

} // namespace VX
