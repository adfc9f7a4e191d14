/* What a person sees, in the session's language. The fixed texts are English everywhere else: in the model,
 * on the bus, in the log and in what is printed for programs; whoever shows one looks it up here. A text that
 * has no translation, and a language that has none, show the English. "%@" stands for a name or a path.
 *
 * Plain C, so that code in a file manager uses the same table. No state; any thread may ask.
 */
#ifndef TSYNCFINDER_PROTOCOL_TRANSLATIONS_H
#define TSYNCFINDER_PROTOCOL_TRANSLATIONS_H

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

typedef struct {
    const char* english;
    const char* german;
    const char* french;
    const char* italian;
    const char* spanish;
} TSyncTranslation;

/* clang-format off */
static const TSyncTranslation tsyncTranslations[] = {
    /* the menu */
    {"Share by email", "Per E-Mail teilen", "Partager par e-mail", "Condividi per e-mail", "Compartir por correo"},
    {"Stop sync", "Synchronisierung beenden", "Arrêter la synchronisation", "Interrompi sincronizzazione",
     "Detener sincronización"},
    {"Exclude from sync", "Von der Synchronisierung ausschließen", "Exclure de la synchronisation",
     "Escludi dalla sincronizzazione", "Excluir de la sincronización"},
    {"Move to Space", "In den Space verschieben", "Déplacer vers le Space", "Sposta nello Space", "Mover al Space"},
    {"Copy to Space", "In den Space kopieren", "Copier vers le Space", "Copia nello Space", "Copiar al Space"},
    {"Start sync", "Synchronisierung starten", "Démarrer la synchronisation", "Avvia sincronizzazione",
     "Iniciar sincronización"},
    /* a badge in words, and a file manager's page about an item */
    {"In step", "Synchronisiert", "Synchronisé", "Sincronizzato", "Sincronizado"},
    {"Uploading", "Wird hochgeladen", "Envoi en cours", "In caricamento", "Subiendo"},
    {"In work", "In Arbeit", "En traitement", "In lavorazione", "En proceso"},
    {"Problem", "Problem", "Problème", "Problema", "Problema"},
    {"Synced folder", "Synchronisierter Ordner", "Dossier synchronisé", "Cartella sincronizzata",
     "Carpeta sincronizada"},
    {"Sync", "Synchronisierung", "Synchronisation", "Sincronizzazione", "Sincronización"},
    {"Status", "Status", "État", "Stato", "Estado"},
    {"Badge", "Symbol", "Symbole", "Simbolo", "Símbolo"},
    {"Remote path", "Entfernter Pfad", "Chemin distant", "Percorso remoto", "Ruta remota"},
    {"Reason", "Grund", "Raison", "Motivo", "Motivo"},
    {"Excluded", "Ausgeschlossen", "Exclu", "Escluso", "Excluido"},
    {"No", "Nein", "Non", "No", "No"},
    {"It lies in no synced folder.", "Es liegt in keinem synchronisierten Ordner.",
     "Ne se trouve dans aucun dossier synchronisé.", "Non si trova in alcuna cartella sincronizzata.",
     "No está en ninguna carpeta sincronizada."},
    {"It is the synced folder itself.", "Es ist der synchronisierte Ordner selbst.",
     "C’est le dossier synchronisé lui-même.", "È la cartella sincronizzata stessa.",
     "Es la propia carpeta sincronizada."},
    {"Uploading now: %@", "Wird gerade hochgeladen: %@", "Envoi en cours : %@", "In caricamento: %@", "Subiendo: %@"},
    {"In work: %@", "In Arbeit: %@", "En traitement : %@", "In lavorazione: %@", "En proceso: %@"},
    {"Nothing at it or below it is under way.", "Weder dort noch darunter ist etwas unterwegs.",
     "Rien n’est en cours, ni ici ni en dessous.", "Nulla è in corso qui o più in basso.",
     "No hay nada en curso aquí ni por debajo."},
    {"Nothing exists there, or its disk does not answer: it keeps the badge it had.",
     "Dort existiert nichts, oder das Laufwerk antwortet nicht: Das Symbol bleibt, wie es war.",
     "Rien n’existe là, ou le disque ne répond pas : le symbole reste tel quel.",
     "Lì non esiste nulla, o il disco non risponde: il simbolo resta com’era.",
     "Ahí no existe nada, o el disco no responde: el símbolo queda como estaba."},
    {"Badges are switched off: tsyncfinder config badges on",
     "Symbole sind abgeschaltet: tsyncfinder config badges on",
     "Les symboles sont désactivés : tsyncfinder config badges on",
     "I simboli sono disattivati: tsyncfinder config badges on",
     "Los símbolos están desactivados: tsyncfinder config badges on"},
    {"Not synced: %@; why: tsyncquenz problems", "Nicht synchronisiert: %@; warum: tsyncquenz problems",
     "Non synchronisé : %@ ; pourquoi : tsyncquenz problems", "Non sincronizzato: %@; perché: tsyncquenz problems",
     "No sincronizado: %@; por qué: tsyncquenz problems"},
    {"The settings let no badge be shown for it: tsyncfinder config badges on",
     "Die Einstellungen lassen dafür kein Symbol zu: tsyncfinder config badges on",
     "Les réglages n’affichent pas de symbole pour lui : tsyncfinder config badges on",
     "Le impostazioni non mostrano simboli per questo: tsyncfinder config badges on",
     "Los ajustes no muestran ningún símbolo para él: tsyncfinder config badges on"},
    {"Excluded from sync: %@", "Von der Synchronisierung ausgeschlossen: %@", "Exclu de la synchronisation : %@",
     "Escluso dalla sincronizzazione: %@", "Excluido de la sincronización: %@"},
    {"Items like it are never synced.", "Dergleichen wird nie synchronisiert.",
     "Ce genre d’élément n’est jamais synchronisé.", "Elementi come questo non vengono mai sincronizzati.",
     "Este tipo de elementos nunca se sincroniza."},
    /* both panels */
    {"OK", "OK", "OK", "OK", "Aceptar"},
    {"Move", "Verschieben", "Déplacer", "Sposta", "Mover"},
    {"Copy", "Kopieren", "Copier", "Copia", "Copiar"},
    {"Cancel", "Abbrechen", "Annuler", "Annulla", "Cancelar"},
    /* the destination panel */
    {"Choose a Destination", "Ziel auswählen", "Choisir une destination", "Scegli una destinazione",
     "Elegir un destino"},
    {"Where do you want to sync\n\n%@?", "Wohin möchten Sie synchronisieren?\n\n%@",
     "Où voulez-vous synchroniser\n\n%@ ?", "Dove vuoi sincronizzare\n\n%@?", "¿Dónde desea sincronizar\n\n%@?"},
    {"Do you want to archive\n\n%@?", "Möchten Sie dies archivieren?\n\n%@", "Voulez-vous archiver\n\n%@ ?",
     "Vuoi archiviare\n\n%@?", "¿Desea archivar\n\n%@?"},
    {"Do you want to archive selected files?", "Möchten Sie die ausgewählten Dateien archivieren?",
     "Voulez-vous archiver les fichiers sélectionnés ?", "Vuoi archiviare i file selezionati?",
     "¿Desea archivar los archivos seleccionados?"},
    {"Loading…", "Wird geladen …", "Chargement…", "Caricamento…", "Cargando…"},
    {"No answer from the sync service", "Keine Antwort vom Synchronisierungsdienst",
     "Pas de réponse du service de synchronisation", "Nessuna risposta dal servizio di sincronizzazione",
     "Sin respuesta del servicio de sincronización"},
    {"Waiting for the sync service…", "Warten auf den Synchronisierungsdienst …",
     "En attente du service de synchronisation…", "In attesa del servizio di sincronizzazione…",
     "Esperando al servicio de sincronización…"},
    {"Try again", "Erneut versuchen", "Réessayer", "Riprova", "Reintentar"},
    {"New folder: %@", "Neuer Ordner: %@", "Nouveau dossier : %@", "Nuova cartella: %@", "Carpeta nueva: %@"},
    {"new folder", "neuer Ordner", "nouveau dossier", "nuova cartella", "carpeta nueva"},
    {"Contains folders", "Enthält Ordner", "Contient des dossiers", "Contiene cartelle", "Contiene carpetas"},
    {"No folders", "Keine Ordner", "Aucun dossier", "Nessuna cartella", "Ninguna carpeta"},
    {"Search", "Suchen", "Rechercher", "Cerca", "Buscar"},
    {"Destination", "Ziel", "Destination", "Destinazione", "Destino"},
    {"Opens the folders of this level", "Öffnet die Ordner dieser Ebene", "Ouvre les dossiers de ce niveau",
     "Apre le cartelle di questo livello", "Abre las carpetas de este nivel"},
    /* the share-by-email panel */
    {"Share file '%@' with", "Datei „%@“ teilen mit", "Partager le fichier « %@ » avec",
     "Condividi il file “%@” con", "Compartir el archivo «%@» con"},
    {"Share folder '%@' with", "Ordner „%@“ teilen mit", "Partager le dossier « %@ » avec",
     "Condividi la cartella “%@” con", "Compartir la carpeta «%@» con"},
    {"'%@' is not in a synced folder and cannot be shared",
     "„%@“ liegt in keinem synchronisierten Ordner und kann nicht geteilt werden",
     "« %@ » n’est pas dans un dossier synchronisé et ne peut pas être partagé",
     "“%@” non è in una cartella sincronizzata e non può essere condiviso",
     "«%@» no está en una carpeta sincronizada y no se puede compartir"},
    /* what a command came to */
    {"Asked the sync service to sync %@ with %@.", "Der Synchronisierungsdienst soll %@ mit %@ synchronisieren.",
     "Demandé au service de synchronisation de synchroniser %@ avec %@.",
     "Chiesto al servizio di sincronizzazione di sincronizzare %@ con %@.",
     "Se ha pedido al servicio de sincronización sincronizar %@ con %@."},
    {"Asked the sync service to stop syncing %@.",
     "Der Synchronisierungsdienst soll die Synchronisierung beenden von: %@",
     "Demandé au service de synchronisation d’arrêter la synchronisation de %@.",
     "Chiesto al servizio di sincronizzazione di interrompere la sincronizzazione di %@.",
     "Se ha pedido al servicio de sincronización detener la sincronización de %@."},
    {"Asked the sync service to exclude %@.", "Der Synchronisierungsdienst soll %@ ausschließen.",
     "Demandé au service de synchronisation d’exclure %@.", "Chiesto al servizio di sincronizzazione di escludere %@.",
     "Se ha pedido al servicio de sincronización excluir %@."},
    {"Asked the sync service to include %@.", "Der Synchronisierungsdienst soll %@ wieder einschließen.",
     "Demandé au service de synchronisation d’inclure %@.", "Chiesto al servizio di sincronizzazione di includere %@.",
     "Se ha pedido al servicio de sincronización incluir %@."},
    {"Asked the sync service to move %@ to %@.", "Der Synchronisierungsdienst soll %@ nach %@ verschieben.",
     "Demandé au service de synchronisation de déplacer %@ vers %@.",
     "Chiesto al servizio di sincronizzazione di spostare %@ in %@.",
     "Se ha pedido al servicio de sincronización mover %@ a %@."},
    {"Asked the sync service to copy %@ to %@.", "Der Synchronisierungsdienst soll %@ nach %@ kopieren.",
     "Demandé au service de synchronisation de copier %@ vers %@.",
     "Chiesto al servizio di sincronizzazione di copiare %@ in %@.",
     "Se ha pedido al servicio de sincronización copiar %@ a %@."},
    {"Asked the sync service to move %@ to %@ (not confirmed).",
     "Der Synchronisierungsdienst soll %@ nach %@ verschieben (nicht bestätigt).",
     "Demandé au service de synchronisation de déplacer %@ vers %@ (non confirmé).",
     "Chiesto al servizio di sincronizzazione di spostare %@ in %@ (non confermato).",
     "Se ha pedido al servicio de sincronización mover %@ a %@ (sin confirmar)."},
    {"Asked the sync service to copy %@ to %@ (not confirmed).",
     "Der Synchronisierungsdienst soll %@ nach %@ kopieren (nicht bestätigt).",
     "Demandé au service de synchronisation de copier %@ vers %@ (non confirmé).",
     "Chiesto al servizio di sincronizzazione di copiare %@ in %@ (non confermato).",
     "Se ha pedido al servicio de sincronización copiar %@ a %@ (sin confirmar)."},
    {"Asked the sync service to share %@ with %@ (not confirmed).",
     "Der Synchronisierungsdienst soll %@ teilen mit %@ (nicht bestätigt).",
     "Demandé au service de synchronisation de partager %@ avec %@ (non confirmé).",
     "Chiesto al servizio di sincronizzazione di condividere %@ con %@ (non confermato).",
     "Se ha pedido al servicio de sincronización compartir %@ con %@ (sin confirmar)."},
    {"The sync service was asked, but has not confirmed it: %@",
     "Der Synchronisierungsdienst wurde beauftragt, hat es aber nicht bestätigt: %@",
     "Le service de synchronisation a reçu la demande, mais ne l’a pas confirmée : %@",
     "Il servizio di sincronizzazione ha ricevuto la richiesta, ma non l’ha confermata: %@",
     "El servicio de sincronización ha recibido la petición, pero no la ha confirmado: %@"},
    {"%@ is already synced with %@.", "%@ wird bereits mit %@ synchronisiert.",
     "%@ est déjà synchronisé avec %@.", "%@ è già sincronizzato con %@.", "%@ ya está sincronizado con %@."},
    {"The sync service does not answer.", "Der Synchronisierungsdienst antwortet nicht.",
     "Le service de synchronisation ne répond pas.", "Il servizio di sincronizzazione non risponde.",
     "El servicio de sincronización no responde."},
    {"Copied the public link %@", "Der öffentliche Link wurde kopiert: %@", "Lien public copié : %@",
     "Link pubblico copiato: %@", "Enlace público copiado: %@"},
    {"Nothing is selected.", "Es ist nichts ausgewählt.", "Rien n’est sélectionné.", "Non è selezionato nulla.",
     "No hay nada seleccionado."},
    {"Cancelled; nothing was sent.", "Abgebrochen; es wurde nichts gesendet.", "Annulé ; rien n’a été envoyé.",
     "Annullato; non è stato inviato nulla.", "Cancelado; no se ha enviado nada."},
    {"The sync service is not running; nothing was done.",
     "Der Synchronisierungsdienst läuft nicht; es wurde nichts getan.",
     "Le service de synchronisation n’est pas lancé ; rien n’a été fait.",
     "Il servizio di sincronizzazione non è in esecuzione; non è stato fatto nulla.",
     "El servicio de sincronización no está en marcha; no se ha hecho nada."},
    {"The sync service does not answer; nothing was done.",
     "Der Synchronisierungsdienst antwortet nicht; es wurde nichts getan.",
     "Le service de synchronisation ne répond pas ; rien n’a été fait.",
     "Il servizio di sincronizzazione non risponde; non è stato fatto nulla.",
     "El servicio de sincronización no responde; no se ha hecho nada."},
    {"Left out, not in a synced folder: %@", "Ausgelassen, da in keinem synchronisierten Ordner: %@",
     "Laissés de côté, hors d’un dossier synchronisé : %@", "Tralasciati, non in una cartella sincronizzata: %@",
     "Omitidos, fuera de una carpeta sincronizada: %@"},
    {"Left out, with a name that cannot be sent: %@", "Ausgelassen, da mit nicht sendbarem Namen: %@",
     "Laissés de côté, au nom impossible à envoyer : %@", "Tralasciati, con un nome non inviabile: %@",
     "Omitidos, con un nombre que no se puede enviar: %@"},
    {"Left out, not in a synced folder or with a name that cannot be sent: %@",
     "Ausgelassen, da in keinem synchronisierten Ordner oder mit nicht sendbarem Namen: %@",
     "Laissés de côté, hors d’un dossier synchronisé ou au nom impossible à envoyer : %@",
     "Tralasciati, non in una cartella sincronizzata o con un nome non inviabile: %@",
     "Omitidos, fuera de una carpeta sincronizada o con un nombre que no se puede enviar: %@"},
    {"%@ is not in a synced folder.", "%@ liegt in keinem synchronisierten Ordner.",
     "%@ n’est pas dans un dossier synchronisé.", "%@ non è in una cartella sincronizzata.",
     "%@ no está en una carpeta sincronizada."},
    {"The sync service gave no public link for %@.",
     "Der Synchronisierungsdienst hat keinen öffentlichen Link für %@ geliefert.",
     "Le service de synchronisation n’a pas donné de lien public pour %@.",
     "Il servizio di sincronizzazione non ha fornito un link pubblico per %@.",
     "El servicio de sincronización no ha dado un enlace público para %@."},
    {"Too many public links are being asked for; try again when they have come.",
     "Es werden gerade zu viele öffentliche Links angefragt; versuchen Sie es später erneut.",
     "Trop de liens publics sont demandés ; réessayez quand ils seront arrivés.",
     "Si stanno chiedendo troppi link pubblici; riprova quando saranno arrivati.",
     "Se están pidiendo demasiados enlaces públicos; vuelva a intentarlo cuando hayan llegado."},
    {"Too many actions are under way. Wait until some of them have ended.",
     "Es laufen zu viele Aktionen. Warten Sie, bis einige davon beendet sind.",
     "Trop d’actions sont en cours. Attendez que certaines soient terminées.",
     "Ci sono troppe azioni in corso. Attendi che alcune siano terminate.",
     "Hay demasiadas acciones en curso. Espere a que terminen algunas."},
    {"The public link could not be copied. It is %@", "Der öffentliche Link konnte nicht kopiert werden. Er lautet %@",
     "Le lien public n’a pas pu être copié. Le voici : %@", "Non è stato possibile copiare il link pubblico. È %@",
     "No se ha podido copiar el enlace público. Es %@"},
    {"The window to choose in could not be shown; nothing was sent.",
     "Das Auswahlfenster konnte nicht gezeigt werden; es wurde nichts gesendet.",
     "La fenêtre de choix n’a pas pu être affichée ; rien n’a été envoyé.",
     "Non è stato possibile mostrare la finestra di scelta; non è stato inviato nulla.",
     "No se ha podido mostrar la ventana de selección; no se ha enviado nada."},
    {"There is no display to choose on; nothing was sent.",
     "Es gibt keinen Bildschirm für die Auswahl; es wurde nichts gesendet.",
     "Il n’y a pas d’écran pour choisir ; rien n’a été envoyé.",
     "Non c’è uno schermo su cui scegliere; non è stato inviato nulla.",
     "No hay pantalla en la que elegir; no se ha enviado nada."},
    {"A name that is not UTF-8 cannot be sent.", "Ein Name, der nicht UTF-8 ist, kann nicht gesendet werden.",
     "Un nom qui n’est pas en UTF-8 ne peut pas être envoyé.", "Un nome che non è UTF-8 non si può inviare.",
     "Un nombre que no es UTF-8 no se puede enviar."},
    {"\"%@\" is not a path in the space.", "„%@“ ist kein Pfad im Space.", "« %@ » n’est pas un chemin du Space.",
     "“%@” non è un percorso dello Space.", "«%@» no es una ruta del Space."},
    {"A folder cannot be synced with the root of the space.",
     "Ein Ordner kann nicht mit der obersten Ebene des Space synchronisiert werden.",
     "Un dossier ne peut pas être synchronisé avec la racine du Space.",
     "Una cartella non può essere sincronizzata con la radice dello Space.",
     "Una carpeta no se puede sincronizar con la raíz del Space."},
    {"\"%@\" is not an e-mail address.", "„%@“ ist keine E-Mail-Adresse.", "« %@ » n’est pas une adresse e-mail.",
     "“%@” non è un indirizzo e-mail.", "«%@» no es una dirección de correo."},
    /* once, to whoever has no sync service */
    {"Nothing is synced yet: the sync service has no storage. In a terminal: %@",
     "Noch wird nichts synchronisiert: Der Synchronisierungsdienst hat keinen Speicher. In einem Terminal: %@",
     "Rien n’est encore synchronisé : le service de synchronisation n’a pas de stockage. Dans un terminal : %@",
     "Non è ancora sincronizzato nulla: il servizio di sincronizzazione non ha uno spazio. In un terminale: %@",
     "Aún no se sincroniza nada: el servicio de sincronización no tiene almacenamiento. En un terminal: %@"},
    {"Nothing is synced yet: install the package tsyncquenz. Then, in a terminal: %@",
     "Noch wird nichts synchronisiert: Installieren Sie das Paket tsyncquenz. Dann in einem Terminal: %@",
     "Rien n’est encore synchronisé : installez le paquet tsyncquenz. Puis, dans un terminal : %@",
     "Non è ancora sincronizzato nulla: installa il pacchetto tsyncquenz. Poi, in un terminale: %@",
     "Aún no se sincroniza nada: instale el paquete tsyncquenz. Después, en un terminal: %@"},
    /* the entry in the sidebar */
    {"in step", "synchron", "à jour", "aggiornato", "al día"},
    {"uploading 1 file", "1 Datei wird hochgeladen", "envoi de 1 fichier", "invio di 1 file", "subiendo 1 archivo"},
    {"uploading %@ files", "%@ Dateien werden hochgeladen", "envoi de %@ fichiers", "invio di %@ file",
     "subiendo %@ archivos"},
    {"paused", "angehalten", "en pause", "in pausa", "en pausa"},
    {"looking for changes", "Änderungen werden gesucht", "recherche de changements", "ricerca di modifiche",
     "buscando cambios"},
    {"not all folders can be synced now", "zurzeit lassen sich nicht alle Ordner synchronisieren",
     "tous les dossiers ne peuvent pas être synchronisés maintenant", "ora non si possono sincronizzare tutte le cartelle",
     "ahora no se pueden sincronizar todas las carpetas"},
    {"the sync service is not running", "der Synchronisierungsdienst läuft nicht",
     "le service de synchronisation n’est pas lancé", "il servizio di sincronizzazione non è in esecuzione",
     "el servicio de sincronización no está en marcha"},
    {"the sync service does not answer", "der Synchronisierungsdienst antwortet nicht",
     "le service de synchronisation ne répond pas", "il servizio di sincronizzazione non risponde",
     "el servicio de sincronización no responde"},
    {"Pause", "Anhalten", "Mettre en pause", "Metti in pausa", "Pausar"},
    {"Resume", "Fortsetzen", "Reprendre", "Riprendi", "Reanudar"},
    /* the notice of the clipboard, and the fields of the share-by-email panel */
    {"Link copied", "Link kopiert", "Lien copié", "Link copiato", "Enlace copiado"},
    {"Recipients", "Empfänger", "Destinataires", "Destinatari", "Destinatarios"},
    {"Address book", "Adressbuch", "Carnet d’adresses", "Rubrica", "Libreta de direcciones"},
    {"Name", "Name", "Nom", "Nome", "Nombre"},
    {"E-mail", "E-Mail", "E-mail", "E-mail", "Correo"},
    {"Add", "Hinzufügen", "Ajouter", "Aggiungi", "Añadir"},
    {"Names or e-mail addresses", "Namen oder E-Mail-Adressen", "Noms ou adresses e-mail",
     "Nomi o indirizzi e-mail", "Nombres o direcciones de correo"},
    {"Clear", "Leeren", "Effacer", "Cancella", "Borrar"},
    {"Edit", "Bearbeiten", "Modifier", "Modifica", "Editar"},
    {"Remove", "Entfernen", "Retirer", "Rimuovi", "Quitar"},
    {"File", "Datei", "Fichier", "File", "Archivo"},
    {"Folder", "Ordner", "Dossier", "Cartella", "Carpeta"},
    {"not an e-mail address", "keine E-Mail-Adresse", "pas une adresse e-mail", "non è un indirizzo e-mail",
     "no es una dirección de correo"},
    {"Not an e-mail address: %@", "Keine E-Mail-Adresse: %@", "Pas une adresse e-mail : %@",
     "Non è un indirizzo e-mail: %@", "No es una dirección de correo: %@"},
    {"%@ is not synced: %@", "%@ wird nicht synchronisiert: %@", "%@ n’est pas synchronisé : %@",
     "%@ non è sincronizzato: %@", "%@ no se sincroniza: %@"},
    {"%@ could not be shared: %@", "%@ konnte nicht geteilt werden: %@", "%@ n’a pas pu être partagé : %@",
     "Impossibile condividere %@: %@", "No se ha podido compartir %@: %@"},
    {"Nobody is found", "Niemand gefunden", "Personne n’a été trouvé", "Nessuno trovato", "No se ha encontrado a nadie"},
    {"No contacts in %@.\nPut vCard files (.vcf) there to choose from them here.",
     "Keine Kontakte in %@.\nLegen Sie dort vCard-Dateien (.vcf) ab, um hier auszuwählen.",
     "Aucun contact dans %@.\nPlacez-y des fichiers vCard (.vcf) pour choisir ici parmi eux.",
     "Nessun contatto in %@.\nMetti lì dei file vCard (.vcf) per sceglierli qui.",
     "No hay contactos en %@.\nPonga ahí archivos vCard (.vcf) para elegir entre ellos aquí."},
};
/* clang-format on */

/* Whether a locale name ("de_DE.UTF-8") or the first of a list of them ("de:en") is of the language, two
 * letters: "de" is German, "den" is not. strchr finds the end of the name, too. */
static inline int tsyncIsOfLanguage(const char* locale, const char* language) {
    return strncmp(locale, language, 2) == 0 && strchr("_.@-:", locale[2]);
}

/* The text in the language of a locale name; the text itself when there is no translation. */
static inline const char* tsyncTranslated(const char* english, const char* locale) {
    size_t index;
    if (!locale) return english;
    for (index = 0; index < sizeof tsyncTranslations / sizeof tsyncTranslations[0]; ++index) {
        const TSyncTranslation* text = &tsyncTranslations[index];
        if (strcmp(text->english, english) != 0) continue;
        if (tsyncIsOfLanguage(locale, "de")) return text->german;
        if (tsyncIsOfLanguage(locale, "fr")) return text->french;
        if (tsyncIsOfLanguage(locale, "it")) return text->italian;
        if (tsyncIsOfLanguage(locale, "es")) return text->spanish;
        return english;
    }
    return english;
}

/* The session's locale for messages, as POSIX orders the variables, and as gettext reads LANGUAGE: in a
 * locale other than C it is a list of languages, of which the first counts that there are texts in, English
 * among them. "" when there is none. The result may be the beginning of such a list. */
static inline const char* tsyncMessageLocale(void) {
    static const char* const variables[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    static const char* const languages[] = {"en", "de", "fr", "it", "es"};
    const char* locale = "";
    const char* list = getenv("LANGUAGE");
    size_t index;
    for (index = 0; index < sizeof variables / sizeof variables[0] && locale[0] == '\0'; ++index) {
        const char* value = getenv(variables[index]);
        if (value) locale = value;
    }
    if (locale[0] == '\0' || strcmp(locale, "C") == 0 || strncmp(locale, "C.", 2) == 0 ||
        strcmp(locale, "POSIX") == 0)
        return locale;
    if (!list || list[0] == '\0') return locale;
    while (list) {
        for (index = 0; index < sizeof languages / sizeof languages[0]; ++index)
            if (tsyncIsOfLanguage(list, languages[index])) return list;
        list = strchr(list, ':');
        if (list) ++list;
    }
    return "";
}

#endif
