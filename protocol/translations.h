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
    /* both panels */
    {"OK", "OK", "OK", "OK", "Aceptar"},
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
    {"Link copied", "Link kopiert", "Lien copié", "Link copiato", "Enlace copiado"},
    {"Recipients", "Empfänger", "Destinataires", "Destinatari", "Destinatarios"},
    {"Address book", "Adressbuch", "Carnet d’adresses", "Rubrica", "Libreta de direcciones"},
    {"Name", "Name", "Nom", "Nome", "Nombre"},
    {"E-mail", "E-Mail", "E-mail", "E-mail", "Correo"},
    {"Add", "Hinzufügen", "Ajouter", "Aggiungi", "Añadir"},
    {"Names or e-mail addresses", "Namen oder E-Mail-Adressen", "Noms ou adresses e-mail",
     "Nomi o indirizzi e-mail", "Nombres o direcciones de correo"},
};
/* clang-format on */

/* The text in the language of a locale name ("de_DE.UTF-8"); the text itself when there is no translation. */
static inline const char* tsyncTranslated(const char* english, const char* locale) {
    size_t index;
    if (locale == NULL) return english;
    for (index = 0; index < sizeof tsyncTranslations / sizeof tsyncTranslations[0]; ++index) {
        const TSyncTranslation* text = &tsyncTranslations[index];
        if (strcmp(text->english, english) != 0) continue;
        /* Two letters, and then the name's end or one of "_", ".", "@", "-": "de" is German, "den" is not. */
        if (strlen(locale) > 2 && strchr("_.@-", locale[2]) == NULL) return english;
        if (strncmp(locale, "de", 2) == 0) return text->german;
        if (strncmp(locale, "fr", 2) == 0) return text->french;
        if (strncmp(locale, "it", 2) == 0) return text->italian;
        if (strncmp(locale, "es", 2) == 0) return text->spanish;
        return english;
    }
    return english;
}

/* The session's locale for messages, as POSIX orders the variables; "" when there is none. */
static inline const char* tsyncMessageLocale(void) {
    static const char* const variables[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    size_t index;
    for (index = 0; index < sizeof variables / sizeof variables[0]; ++index) {
        const char* value = getenv(variables[index]);
        if (value != NULL && value[0] != '\0') return value;
    }
    return "";
}

#endif
